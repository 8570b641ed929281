// Local procedure calls on D-Bus: service S owns the name receiver.lpc.S and serves interface receiver.Lpc at
// /receiver/lpc. Shared by the callers, the daemon's service and the stand-in.
#pragma once

#include <string>
#include <vector>

#include "platform/local/bus.h"

namespace local {

/// Another process owns the service already: EEXIST. Null with errno set.
Connection openService(const std::string& service, int stopFd = -1);
/// Gives the name back before the connection goes, so that it is free at once.
void closeService(const std::string& service, Connection connection);

struct Call {
    std::string method;
    Text params;
};

enum class Known { these, all };

/// Sorts what came for a service that knows these methods, or besides these all others. True: a call of one that it
/// knows. Everything else is dealt with here: refused, described, or let pass.
bool takeCall(sd_bus_message* message, const std::vector<std::string>& methods, Known known, Call& call);

/// A call on its way to somebody else: no answer is given. False for any other message.
bool peekCall(sd_bus_message* message, std::string& service, Call& call);

/// An answer: data or none. A negative errno on failure.
int answerCall(sd_bus_message* call, const Text& data);
int refuseCall(sd_bus_message* call, const char* why);

/// A call of a method, not yet sent. A negative errno on failure.
int newCall(sd_bus* bus, const std::string& service, const std::string& method, std::optional<std::string_view> params,
            Message& message);

}  // namespace local
