#include "platform/local/bus.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <poll.h>

namespace local {

namespace {

constexpr const char* kSystemBusAddress = "unix:path=/run/dbus/system_bus_socket";

const char* busAddress()
{
    for (const char* variable : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"}) {
        const char* address = std::getenv(variable);
        if (address != nullptr && *address != '\0') {
            return address;
        }
    }
    return kSystemBusAddress;
}

bool isContinuation(unsigned char byte)
{
    return (byte & 0xc0U) == 0x80U;
}

// UTF-8 as sd-bus lets it pass in a string: no overlong forms, no surrogates, no non-characters.
bool isBusString(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const auto first = static_cast<unsigned char>(text[at]);
        if (first < 0x80) {
            if (first == 0) {
                return false;
            }
            ++at;
            continue;
        }
        const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
        if (first < 0xc2 || first > 0xf4 || at + length > text.size()) {
            return false;
        }
        std::uint32_t point = first & (0xffU >> (length + 1));
        for (std::size_t i = 1; i < length; ++i) {
            const auto next = static_cast<unsigned char>(text[at + i]);
            if (!isContinuation(next)) {
                return false;
            }
            point = point << 6U | (next & 0x3fU);
        }
        constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
        const bool character = point >= kLeast[length] && point <= 0x10ffff && (point & 0xfffff800U) != 0xd800 &&
                               (point < 0xfdd0 || point > 0xfdef) && (point & 0xfffeU) != 0xfffe;
        if (!character) {
            return false;
        }
        at += length;
    }
    return true;
}

}  // namespace

int failWith(int error)
{
    errno = error;
    return -1;
}

std::uint64_t monotonicUs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000U + static_cast<std::uint64_t>(now.tv_nsec) / 1'000U;
}

Connection startBus(bool monitor)
{
    sd_bus* created = nullptr;
    int result = sd_bus_new(&created);
    Connection bus(created);
    if (result >= 0) {
        result = sd_bus_set_address(created, busAddress());
    }
    if (result >= 0) {
        result = sd_bus_set_bus_client(created, 1);
    }
    if (result >= 0 && monitor) {
        result = sd_bus_set_monitor(created, 1);
    }
    if (result >= 0) {
        result = sd_bus_negotiate_fds(created, 0);  // no message of ours carries descriptors
    }
    if (result >= 0) {
        result = sd_bus_set_method_call_timeout(created, kPatienceUs);
    }
    if (result >= 0) {
        result = sd_bus_start(created);
    }
    if (result < 0) {
        errno = -result;
        bus.reset();
    }
    return bus;
}

int awaitBus(sd_bus* bus, std::uint64_t deadlineUs, int stopFd)
{
    while (true) {
        const int result = sd_bus_process(bus, nullptr);
        if (result < 0) {
            return result;
        }
        if (sd_bus_is_ready(bus) > 0) {
            return 0;
        }
        if (result == 0) {
            const int waited = waitForBus(bus, deadlineUs, stopFd);
            if (waited <= 0) {
                return waited == 0 ? -ETIMEDOUT : -errno;
            }
        }
    }
}

Connection openBus(int stopFd)
{
    Connection bus = startBus();
    if (!bus) {
        return nullptr;
    }
    const int result = awaitBus(bus.get(), monotonicUs() + kPatienceUs, stopFd);
    if (result < 0) {
        bus.reset();
        errno = -result;
    }
    return bus;
}

int waitForBus(sd_bus* bus, std::uint64_t deadlineUs, int stopFd)
{
    while (true) {
        const int events = sd_bus_get_events(bus);
        const int fd = sd_bus_get_fd(bus);
        if (events < 0 || fd < 0) {
            return failWith(ECONNRESET);
        }
        const std::uint64_t now = monotonicUs();
        // Rounded up, so that the last fraction of a millisecond is not spent in a busy loop.
        const std::uint64_t left = deadlineUs > now ? (deadlineUs - now - 1) / 1'000 + 1 : 0;
        pollfd waiting[] = {{.fd = fd, .events = static_cast<short>(events), .revents = 0},
                            {.fd = stopFd, .events = POLLIN, .revents = 0}};
        const int ready = ::poll(waiting, 2, static_cast<int>(std::min<std::uint64_t>(left, 1'000'000)));
        if (ready < 0 && errno != EINTR) {
            return -1;
        }
        if (ready > 0 && waiting[1].revents != 0) {
            return failWith(ECANCELED);
        }
        if (ready > 0) {
            return 1;
        }
        if (monotonicUs() >= deadlineUs) {
            return 0;
        }
    }
}

int flushBus(sd_bus* bus, std::uint64_t deadlineUs)
{
    while (true) {
        std::uint64_t queued = 0;
        int result = sd_bus_get_n_queued_write(bus, &queued);
        if (result < 0 || queued == 0) {
            return result < 0 ? result : 0;
        }
        result = sd_bus_process(bus, nullptr);
        if (result < 0) {
            return result;
        }
        if (result == 0) {
            const int waited = waitForBus(bus, deadlineUs);
            if (waited <= 0) {
                return waited == 0 ? -ETIMEDOUT : -errno;
            }
        }
    }
}

int callDaemon(sd_bus* bus, const char* method, const char* types, const char* text, std::uint32_t flags,
               std::uint32_t* result)
{
    sd_bus_message* answer = nullptr;
    const int called = sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                          method, nullptr, &answer, types, text, flags);
    const Message owned(answer);
    if (called < 0) {
        return called;
    }
    return result != nullptr ? std::min(sd_bus_message_read_basic(answer, 'u', result), 0) : 0;
}

bool isDisconnection(int negativeErrno)
{
    return negativeErrno == -ECONNRESET || negativeErrno == -ENOTCONN || negativeErrno == -EPIPE ||
           negativeErrno == -ECONNABORTED || negativeErrno == -ESHUTDOWN;
}

bool isDisconnection(sd_bus_message* message)
{
    return sd_bus_message_is_signal(message, "org.freedesktop.DBus.Local", "Disconnected") > 0;
}

int appendText(sd_bus_message* message, std::optional<std::string_view> text)
{
    if (!text) {
        return 0;
    }
    if (text->size() > kMaxText) {
        return -EMSGSIZE;
    }
    if (isBusString(*text)) {
        char* string = nullptr;
        const int result = sd_bus_message_append_string_space(message, text->size(), &string);
        if (result >= 0) {
            text->copy(string, text->size());
        }
        return result;
    }
    return sd_bus_message_append_array(message, 'y', text->data(), text->size());
}

bool readText(sd_bus_message* message, Text& text)
{
    text.reset();
    if (sd_bus_message_is_empty(message) > 0) {
        return true;
    }
    if (sd_bus_message_has_signature(message, "s") > 0) {
        const char* string = nullptr;
        if (sd_bus_message_read_basic(message, 's', &string) <= 0) {
            return false;
        }
        text.emplace(string);
        return true;
    }
    if (sd_bus_message_has_signature(message, "ay") > 0) {
        const void* bytes = nullptr;
        std::size_t size = 0;
        if (sd_bus_message_read_array(message, 'y', &bytes, &size) < 0) {
            return false;
        }
        text.emplace(static_cast<const char*>(bytes), size);
        return true;
    }
    return false;
}

}  // namespace local
