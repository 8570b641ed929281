#include "platform/local/threadBus.h"

#include <cerrno>
#include <utility>

namespace local {

namespace {

constexpr std::uint64_t kRetryUs = 1'000'000;
constexpr unsigned kUsesBetweenDrains = 16;
// A bus that has hung once is not waited for so long again.
constexpr std::uint64_t kGlanceUs = 50'000;

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
    const int result = connect();
    if (result < 0) {
        postpone(-result);
        errno = lastError_;
    }
    return bus_.get();
}

int ThreadBus::connect()
{
    const std::uint64_t patience = lastError_ == ETIMEDOUT ? kGlanceUs : kPatienceUs;
    if (!coming_) {
        coming_ = startBus();
    }
    if (!coming_) {
        return -errno;
    }
    const int result = awaitBus(coming_.get(), monotonicUs() + patience);
    if (result == 0) {
        bus_ = std::move(coming_);
        lastError_ = 0;
    } else if (result != -ETIMEDOUT) {
        coming_.reset();
    }
    return result;
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
