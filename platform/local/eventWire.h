// Events on D-Bus: a topic is the member name of a signal, the object path tells who published.
#pragma once

#include <string_view>

#include "platform/local/bus.h"

namespace local {

enum class Origin { publisher, settings, status };

/// The object path of an origin, and its name; any path that is not one of ours is a publisher's.
const char* originPath(Origin origin);
std::string_view originName(std::string_view path);

/// [A-Za-z_][A-Za-z0-9_]*, at most 200 bytes.
bool isTopic(std::string_view topic);

/// A negative errno on failure.
int newEvent(sd_bus* bus, Origin origin, const char* topic, std::optional<std::string_view> payload, Message& message);

/// Has the bus deliver a topic (null: every one) to this connection from now on. 0 or a negative errno.
int matchEvents(sd_bus* bus, const char* topic);

struct ReceivedEvent {
    const char* topic = nullptr;  ///< borrowed from the message
    std::string_view path;        ///< likewise
    Text payload;
};

/// True: an event. Everything else is dealt with here, a method call by refusing it.
bool takeEvent(sd_bus_message* message, ReceivedEvent& event);

}  // namespace local
