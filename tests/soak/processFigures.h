// What a process has of the machine, sampled again and again: it must not grow.
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

class ProcessFigures {
public:
    ProcessFigures(std::string name, pid_t pid) : name_(std::move(name)), pid_(pid) {}

    /// To be called while the process is idle.
    void sample();

    /// Growth is judged from the samples of the second and third tenth of the time to those of the last two, by their
    /// medians: private memory by at most `tolerance` KiB, descriptors by one, which may be a port being replaced, and
    /// threads not at all. What is wrong, or nothing.
    [[nodiscard]] std::string verdict(long tolerance) const;
    [[nodiscard]] std::string summary() const;

private:
    struct Sample {
        long privateKiB = 0;
        long descriptors = 0;
        long threads = 0;
    };
    [[nodiscard]] Sample median(std::size_t from, std::size_t to) const;
    [[nodiscard]] Sample early() const { return median(samples_.size() / 10, samples_.size() * 3 / 10); }
    [[nodiscard]] Sample late() const { return median(samples_.size() * 8 / 10, samples_.size()); }

    std::string name_;
    pid_t pid_;
    std::vector<Sample> samples_;
};
