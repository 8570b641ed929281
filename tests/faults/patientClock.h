// A clock for limits on how long something may take: it stands while the machine itself is late.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "platform/support/ownership.h"

class PatientClock {
public:
    /// A thread naps and syncs a file in a directory, which lies on the disk that what is measured writes to. What it
    /// gets too late, processor or disk, is not counted. Throws std::system_error.
    explicit PatientClock(const std::string& directory);
    ~PatientClock();
    PatientClock(const PatientClock&) = delete;
    PatientClock& operator=(const PatientClock&) = delete;

    /// Seconds, from some beginning on.
    [[nodiscard]] double now();

private:
    using Clock = std::chrono::steady_clock;

    void watch();

    UniqueFd file_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool end_ = false;
    Clock::time_point due_;  // of the nap's end
    Clock::duration lost_{};
    std::thread thread_;
};
