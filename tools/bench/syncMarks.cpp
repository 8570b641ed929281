#include "bench/syncMarks.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace {

constexpr std::string_view kOpening = "\x16receiver-bench ";  // SYN
constexpr char kClosing = '\x16';

enum class Match { no, undecided, whole };

struct Candidate {
    Match match;
    std::size_t length = 0;
    int number = 0;
};

/// Whether the text starts with a mark.
Candidate examine(std::string_view text)
{
    const std::size_t common = std::min(text.size(), kOpening.size());
    if (text.substr(0, common) != kOpening.substr(0, common)) {
        return {Match::no};
    }
    const char* digits = text.data() + common;
    const char* end = text.data() + text.size();
    int number = 0;
    const auto [stop, error] = std::from_chars(digits, end, number);
    if (stop == end) {
        return {Match::undecided};
    }
    if (error != std::errc() || *stop != kClosing) {
        return {Match::no};
    }
    return {Match::whole, static_cast<std::size_t>(stop - text.data()) + 1, number};
}

}  // namespace

std::string SyncMarks::text(int number)
{
    return std::string(kOpening) + std::to_string(number) + kClosing;
}

std::string SyncMarks::strip(std::string_view bytes)
{
    held_ += bytes;
    std::string_view left = held_;
    std::string out;
    while (!arrived() && !left.empty()) {
        const std::size_t start = left.find(kOpening.front());
        out += left.substr(0, start);
        if (start == std::string_view::npos) {
            left = {};
            break;
        }
        left.remove_prefix(start);
        const Candidate candidate = examine(left);
        if (candidate.match == Match::undecided) {
            break;
        }
        if (candidate.match == Match::whole) {
            seen_ = std::max(seen_, candidate.number);
            left.remove_prefix(candidate.length);
        } else {
            out += left.front();
            left.remove_prefix(1);
        }
    }
    if (arrived()) {
        out += std::exchange(left, {});
    }
    held_ = std::string(left);
    return out;
}
