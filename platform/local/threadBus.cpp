#include "platform/local/threadBus.h"

#include <cerrno>

namespace local {

namespace {

constexpr std::uint64_t kRetryUs = 1'000'000;
constexpr unsigned kUsesBetweenDrains = 16;

}  // namespace

ThreadBus& ThreadBus::ofThread()
{
    thread_local ThreadBus bus;
    return bus;
}

sd_bus* ThreadBus::connection()
{
    if (bus_ && ++uses_ % kUsesBetweenDrains == 0) {
        drain();
    }
    if (bus_) {
        return bus_.get();
    }
    if (monotonicUs() < nextAttemptUs_) {
        errno = lastError_;
        return nullptr;
    }
    bus_ = openBus();
    if (!bus_) {
        postpone(errno);
        errno = lastError_;
    }
    return bus_.get();
}

void ThreadBus::drop()
{
    bus_.reset();
}

void ThreadBus::postpone(int error)
{
    bus_.reset();
    lastError_ = error;
    nextAttemptUs_ = monotonicUs() + kRetryUs;
}

// Nothing is subscribed here, but the bus sends a few messages of its own (a name acquired, an answer that came too
// late, a refusal): left unread for ever they would fill the daemon's queue for this connection.
void ThreadBus::drain()
{
    int result = 1;
    while (result > 0) {
        result = sd_bus_process(bus_.get(), nullptr);
    }
    if (result < 0) {
        drop();
    }
}

}  // namespace local
