// D-Bus as the engine uses it: owned sd-bus objects, connections whose making is bounded in time, and the mapping of
// payloads, arguments and answers ("texts") to message bodies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <systemd/sd-bus.h>

namespace local {

/// Nobody waits longer than this for the bus or for a method's answer.
inline constexpr std::uint64_t kPatienceUs = 3'000'000;
/// A deadline that never comes.
inline constexpr std::uint64_t kForever = UINT64_MAX;

struct CloseConnection {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct UnrefMessage {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
struct UnrefSlot {
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using Connection = std::unique_ptr<sd_bus, CloseConnection>;
using Message = std::unique_ptr<sd_bus_message, UnrefMessage>;
using Slot = std::unique_ptr<sd_bus_slot, UnrefSlot>;

/// A text as messages carry it; none is a null one.
using Text = std::optional<std::string>;

/// errno = error, -1.
int failWith(int error);

std::uint64_t monotonicUs();

/// A connection to the session bus when DBUS_SESSION_BUS_ADDRESS is set, else to the system bus, ready for use. Gives
/// up after kPatienceUs, or with ECANCELED when stopFd becomes readable. Null with errno set.
Connection openBus(int stopFd = -1);

/// The two halves of that. The first does not wait; a monitor's connection is ready for what is sent to others.
Connection startBus(bool monitor = false);
/// 0 once the connection is ready for use, or a negative errno (-ETIMEDOUT: not yet, it may be awaited again).
int awaitBus(sd_bus* bus, std::uint64_t deadlineUs, int stopFd = -1);

/// Waits until the connection has something to do, stopFd is readable or the time has come. 1, 0 at the deadline, or
/// -1 with errno set (ECANCELED: stopFd).
int waitForBus(sd_bus* bus, std::uint64_t deadlineUs, int stopFd = -1);

/// Has everything sent written to the socket. 0 or a negative errno; then the connection is of no more use, for a
/// half-written message stands in it.
int flushBus(sd_bus* bus, std::uint64_t deadlineUs);

/// Calls the bus daemon itself with texts as arguments and waits for its answer. 0 or a negative errno.
int callDaemon(sd_bus* bus, const char* method, const char* types, const char* text, std::uint32_t flags,
               std::uint32_t* result);

/// The connection is lost, whatever this call was about.
bool isDisconnection(int negativeErrno);
/// The message by which the library tells that the connection is lost.
bool isDisconnection(sd_bus_message* message);

/// The longest text. A bus daemon without a limit of its own takes messages of 32 MiB and drops the connection that
/// sends a longer one; the rest is for the header, whose names have at most 255 bytes each.
inline constexpr std::size_t kMaxText = 32U * 1024 * 1024 - 4096;

/// Nothing for a null text, "s" for valid UTF-8 without zero bytes, else "ay". A negative errno on failure, -EMSGSIZE
/// for a text that is too long.
int appendText(sd_bus_message* message, std::optional<std::string_view> text);
/// The reverse. False for a body that is no text.
bool readText(sd_bus_message* message, Text& text);

}  // namespace local
