#include "bench/feed.h"

#include <algorithm>

#include "bench/limits.h"
#include "bench/notes.h"
#include "support/jsonText.h"

namespace {

constexpr char kLineEnd = '\r';

// These are answered by the daemon's reaction to the change they made, or have it open its port anew.
constexpr std::string_view kDoneByListener[] = {"Broadcast", "CSpara"};
// Kept until the line is quiet, and so is whatever would follow it too early.
constexpr std::string_view kDoneAtGap = "RS232zone";

bool isDoneByListener(std::string_view line)
{
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    return std::any_of(std::begin(kDoneByListener), std::end(kDoneByListener),
                       [&](std::string_view name) { return line.starts_with(name); });
}

}  // namespace

void Feed::type(std::string_view bytes)
{
    if (recorder_ != nullptr) {
        recorder_->type(bytes);
    } else {
        receiver_.type(bytes);
    }
}

void Feed::typeLine(const std::string& line)
{
    type(line + kLineEnd);
    if (recorder_ != nullptr) {
        return;
    }
    bool done = receiver_.settle();
    if (line.find(kDoneAtGap) != std::string::npos) {
        done = receiver_.settleAfterGap() && done;
    }
    if (isDoneByListener(line)) {
        done = receiver_.settleListener() && done;
    }
    if (!done) {
        note("receiver-bench: " + printableJson(jsonString(line)) + " is not done after half a minute; going on");
    }
}

void Feed::await(int input)
{
    // While something is unread its port may be gone; else there is nothing to wait for but the input.
    while (!receiver_.attend(receiver_.typedIsWaiting() ? kPortTimeMs : -1, input)) {
        if (receiver_.typedIsWaiting()) {
            receiver_.checkConsolePort();
        }
        if (recorder_ != nullptr) {
            recorder_->takeForeign();
        }
    }
}

void Feed::settle()
{
    if (recorder_ != nullptr) {
        recorder_->typeRest();
        recorder_->takeForeign();
    }
    receiver_.settle();
    receiver_.settleAfterGap();
    receiver_.settleListener();
}
