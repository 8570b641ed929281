#include "platform/local/eventWire.h"

#include <algorithm>
#include <cerrno>

namespace local {

namespace {

constexpr const char* kInterface = "receiver.Event";
constexpr std::size_t kMaxTopic = 200;

struct OriginRecord {
    const char* path;
    std::string_view name;
};

// In the order of Origin.
constexpr OriginRecord kOrigins[] = {
    {"/receiver/publisher", "publisher"},
    {"/receiver/settings", "settings"},
    {"/receiver/status", "status"},
};

bool isWordCharacter(char character)
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '_';
}

}  // namespace

const char* originPath(Origin origin)
{
    return kOrigins[static_cast<int>(origin)].path;
}

std::string_view originName(std::string_view path)
{
    const auto* found = std::find_if(std::begin(kOrigins), std::end(kOrigins),
                                     [&](const OriginRecord& record) { return path == record.path; });
    return found != std::end(kOrigins) ? found->name : kOrigins[static_cast<int>(Origin::publisher)].name;
}

bool isTopic(std::string_view topic)
{
    return !topic.empty() && topic.size() <= kMaxTopic && (topic[0] < '0' || topic[0] > '9') &&
           std::all_of(topic.begin(), topic.end(), isWordCharacter);
}

int newEvent(sd_bus* bus, Origin origin, const char* topic, std::optional<std::string_view> payload, Message& message)
{
    sd_bus_message* created = nullptr;
    const int result = sd_bus_message_new_signal(bus, &created, originPath(origin), kInterface, topic);
    message.reset(created);
    return result >= 0 ? appendText(created, payload) : result;
}

int matchEvents(sd_bus* bus, const char* topic)
{
    std::string rule = "type='signal',interface='";
    rule.append(kInterface).append("'");
    if (topic != nullptr) {
        rule.append(",member='").append(topic).append("'");
    }
    return callDaemon(bus, "AddMatch", "s", rule.c_str(), 0, nullptr);
}

bool takeEvent(sd_bus_message* message, ReceivedEvent& event)
{
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) > 0) {
        sd_bus_reply_method_errorf(message, SD_BUS_ERROR_UNKNOWN_OBJECT, "Events are only received here");
        return false;
    }
    if (sd_bus_message_is_signal(message, kInterface, nullptr) <= 0) {
        return false;
    }
    event.topic = sd_bus_message_get_member(message);
    event.path = sd_bus_message_get_path(message);
    return readText(message, event.payload);
}

}  // namespace local
