#include "bench/lineSplitter.h"

#include <utility>

std::optional<std::string> LineSplitter::next()
{
    if (afterReturn_ && !pending_.empty()) {
        afterReturn_ = false;
        if (pending_.front() == '\n') {
            pending_.erase(0, 1);
        }
    }
    const auto end = pending_.find_first_of("\r\n");
    if (end == std::string::npos) {
        return std::nullopt;
    }
    // A line is handed out at its CR; an LF that follows is dropped when it comes.
    afterReturn_ = pending_[end] == '\r';
    std::string line = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return line;
}

std::optional<std::string> LineSplitter::last()
{
    if (pending_.empty()) {
        return std::nullopt;
    }
    return std::exchange(pending_, {});
}
