// Watching events with all that a shell wants to know of them.
#include <cerrno>
#include <utility>

#include "platform/local/eventWire.h"
#include "platform/local/local.h"

namespace local {

namespace {

int subscribeAll(sd_bus* bus, const std::vector<std::string>& topics)
{
    int result = topics.empty() ? matchEvents(bus, nullptr) : 0;
    for (const std::string& topic : topics) {
        result = result < 0 ? result : isTopic(topic) ? matchEvents(bus, topic.c_str()) : -EINVAL;
    }
    return result;
}

}  // namespace

int watchEvents(const std::vector<std::string>& topics, int stopFd, const std::function<void()>& ready,
                const std::function<void(const Event&)>& onEvent)
{
    const Connection bus = openBus(stopFd);
    if (!bus) {
        return errno == ECANCELED ? 0 : -1;
    }
    const int subscribed = subscribeAll(bus.get(), topics);
    if (subscribed < 0) {
        return failWith(-subscribed);
    }
    ready();
    while (true) {
        sd_bus_message* received = nullptr;
        const int result = sd_bus_process(bus.get(), &received);
        const Message message(received);
        if (result < 0 || (received != nullptr && isDisconnection(received))) {
            return failWith(ECONNRESET);
        }
        ReceivedEvent event;
        if (received != nullptr && takeEvent(received, event)) {
            onEvent({.topic = event.topic, .payload = std::move(event.payload), .from = originName(event.path)});
        }
        // Under a flood, too, a glance at stopFd after each message.
        if (waitForBus(bus.get(), result > 0 ? 0 : kForever, stopFd) < 0) {
            return errno == ECANCELED ? 0 : -1;
        }
    }
}

}  // namespace local
