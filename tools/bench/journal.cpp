#include "bench/journal.h"

#include <cerrno>
#include <cstring>
#include <sys/eventfd.h>
#include <utility>

#include "support/failure.h"

Journal::Journal() : ready_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!ready_) {
        throw Refused(std::string("an eventfd cannot be made: ") + std::strerror(errno));
    }
}

void Journal::add(Happening happening)
{
    happening.time = std::chrono::steady_clock::now();
    const std::lock_guard lock(mutex_);
    happenings_.push_back(std::move(happening));
    eventfd_write(ready_.get(), 1);
}

std::vector<Happening> Journal::take()
{
    const std::lock_guard lock(mutex_);
    eventfd_t ignored = 0;
    eventfd_read(ready_.get(), &ignored);
    return std::exchange(happenings_, {});
}
