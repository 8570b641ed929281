#include "soak/checkedLine.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace {

// What the senders of the traffic put first; everything else answers a typed command.
constexpr const char* kKinds[] = {"Command FAILED: (W", "Broadcast", "P0", "Y0", "Z0", "TX:", "RX:"};

std::string kindOf(const std::string& text)
{
    for (const char* kind : kKinds) {
        if (text.starts_with(kind)) {
            return kind;
        }
    }
    return {};
}

}  // namespace

void CheckedLine::expect(const std::string& text)
{
    const std::lock_guard lock(mutex_);
    expected_[kindOf(text)].push_back(text);
}

void CheckedLine::type(const std::string& bytes)
{
    const std::lock_guard lock(mutex_);
    terminal_.type(bytes);
}

bool CheckedLine::allRead()
{
    const std::lock_guard lock(mutex_);
    return terminal_.allRead();
}

void CheckedLine::read()
{
    const std::lock_guard lock(mutex_);
    take();
}

void CheckedLine::take()
{
    rest_ += terminal_.takeOutput();
    for (std::size_t end = rest_.find("\r\n"); end != std::string::npos; end = rest_.find("\r\n")) {
        const std::string text = rest_.substr(0, end);
        rest_.erase(0, end + 2);
        std::deque<std::string>& queue = expected_[kindOf(text)];
        if (queue.empty() || queue.front() != text) {
            throw std::runtime_error(name_ + ": \"" + text + "\" came in place of " +
                                     (queue.empty() ? "nothing" : '"' + queue.front() + '"'));
        }
        queue.pop_front();
        ++received_;
    }
}

bool CheckedLine::complete()
{
    const std::lock_guard lock(mutex_);
    take();
    return rest_.empty() &&
           std::all_of(expected_.begin(), expected_.end(), [](const auto& kind) { return kind.second.empty(); });
}

bool CheckedLine::answered()
{
    const std::lock_guard lock(mutex_);
    take();
    return expected_[""].empty();
}

std::string CheckedLine::outstanding()
{
    const std::lock_guard lock(mutex_);
    std::string all = name_ + ":";
    for (const auto& [kind, queue] : expected_) {
        if (!queue.empty()) {
            all += " " + std::to_string(queue.size()) + " from \"" + queue.front() + "\" on;";
        }
    }
    return all + (rest_.empty() ? "" : " half a line \"" + rest_ + "\"");
}

std::string CheckedLine::takeAll()
{
    const std::lock_guard lock(mutex_);
    expected_.clear();
    return std::exchange(rest_, {}) + terminal_.takeOutput();
}
