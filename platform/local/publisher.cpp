#include "platform/local/publisher.h"

#include <cerrno>

#include "platform/eventBus.h"
#include "platform/local/local.h"
#include "platform/local/threadBus.h"

namespace local {

int publish(Origin origin, const char* topic, std::optional<std::string_view> payload)
{
    if (!isTopic(topic)) {
        return failWith(EINVAL);
    }
    return ThreadBus::ofThread().send([&](sd_bus* bus) {
        Message event;
        int result = newEvent(bus, origin, topic, payload, event);
        if (result >= 0) {
            result = sd_bus_send(bus, event.get(), nullptr);
        }
        return result >= 0 ? flushBus(bus, monotonicUs() + kPatienceUs) : result;
    });
}

int publishBytes(const std::string& topic, std::optional<std::string_view> payload)
{
    return isTopic(topic) ? publish(Origin::publisher, topic.c_str(), payload) : failWith(EINVAL);
}

}  // namespace local

int eventbus_publish(const char* topic, const char* payload)
{
    if (topic == nullptr) {
        return local::failWith(EINVAL);
    }
    std::optional<std::string_view> text;
    if (payload != nullptr) {
        text = payload;
    }
    return local::publish(local::Origin::publisher, topic, text);
}
