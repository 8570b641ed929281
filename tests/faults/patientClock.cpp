#include "faults/patientClock.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds kNap{50};

}  // namespace

PatientClock::PatientClock(const std::string& directory)
    : file_(::open((directory + "/clock").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)), due_(Clock::now() + kNap)
{
    if (!file_) {
        throw std::system_error(errno, std::generic_category(), directory);
    }
    thread_ = std::thread([this] { watch(); });
}

PatientClock::~PatientClock()
{
    {
        const std::lock_guard lock(mutex_);
        end_ = true;
        ended_.notify_all();
    }
    thread_.join();
}

double PatientClock::now()
{
    const std::lock_guard lock(mutex_);
    const Clock::time_point now = Clock::now();
    const Clock::duration late = std::max(now - due_, Clock::duration{});
    return std::chrono::duration<double>(now.time_since_epoch() - lost_ - late).count();
}

void PatientClock::watch()
{
    std::unique_lock lock(mutex_);
    while (!ended_.wait_until(lock, due_, [this] { return end_; })) {
        lock.unlock();
        [[maybe_unused]] const bool synced = ::pwrite(file_.get(), "x", 1, 0) == 1 && ::fdatasync(file_.get()) == 0;
        lock.lock();
        const Clock::time_point now = Clock::now();
        lost_ += now - due_;
        due_ = now + kNap;
    }
}
