#include "soak/processFigures.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "support/waiting.h"

namespace {

std::ptrdiff_t entries(const std::string& directory)
{
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

long privateDirty(const std::string& process)
{
    std::ifstream figures(process + "smaps_rollup");
    for (std::string word; figures >> word;) {
        if (word == "Private_Dirty:") {
            long kiB = 0;
            figures >> kiB;
            return kiB;
        }
    }
    throw std::runtime_error("no figures in " + process + "smaps_rollup");
}

}  // namespace

void ProcessFigures::sample()
{
    const std::string process = "/proc/" + std::to_string(pid_) + "/";
    // The engine tends a store's log in a thread with descriptors of its own, which may be at work yet. A thread that
    // stays is waited for once.
    const auto isIdle = [&] { return samples_.empty() || entries(process + "task") <= samples_.back().threads; };
    static_cast<void>(becomesTrue(isIdle));
    samples_.push_back({privateDirty(process), entries(process + "fd"), entries(process + "task")});
}

ProcessFigures::Sample ProcessFigures::median(std::size_t from, std::size_t to) const
{
    to = std::min(std::max(to, from + 1), samples_.size());
    from = std::min(from, to - 1);
    Sample found;
    for (long Sample::*figure : {&Sample::privateKiB, &Sample::descriptors, &Sample::threads}) {
        std::vector<long> values;
        for (std::size_t at = from; at < to; ++at) {
            values.push_back(samples_[at].*figure);
        }
        std::sort(values.begin(), values.end());
        found.*figure = values[values.size() / 2];
    }
    return found;
}

std::string ProcessFigures::verdict(long tolerance) const
{
    const Sample before = early();
    const Sample after = late();
    std::string wrong;
    if (after.privateKiB > before.privateKiB + tolerance) {
        wrong += name_ + ": memory grew\n";
    }
    if (after.descriptors > before.descriptors + 1) {
        wrong += name_ + ": descriptors grew\n";
    }
    if (after.threads > before.threads) {
        wrong += name_ + ": threads grew\n";
    }
    return wrong;
}

std::string ProcessFigures::summary() const
{
    const Sample before = early();
    const Sample after = late();
    const auto figure = [&](const char* what, long Sample::*value) {
        const auto less = [value](const Sample& a, const Sample& b) { return a.*value < b.*value; };
        return std::string(what) + " " + std::to_string(before.*value) + " -> " + std::to_string(after.*value) +
               " (at most " + std::to_string((*std::max_element(samples_.begin(), samples_.end(), less)).*value) + ")";
    };
    return name_ + ": " + figure("private KiB", &Sample::privateKiB) + ", " +
           figure("descriptors", &Sample::descriptors) + ", " + figure("threads", &Sample::threads);
}
