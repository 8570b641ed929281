#include "bench/session.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "bench/limits.h"
#include "bench/lineSplitter.h"
#include "bench/notes.h"
#include "support/failure.h"
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
    for (const std::string_view name : kDoneByListener) {
        if (line.starts_with(name)) {
            return true;
        }
    }
    return false;
}

void feedLine(Receiver& receiver, const std::string& line)
{
    receiver.type(line + kLineEnd);
    bool done = receiver.settle();
    if (line.find(kDoneAtGap) != std::string::npos) {
        done = receiver.settleAfterGap() && done;
    }
    if (isDoneByListener(line)) {
        done = receiver.settleListener() && done;
    }
    if (!done) {
        note("receiver-bench: " + printableJson(jsonString(line)) + " is not done after half a minute; going on");
    }
}

/// What standard input gives now; nothing at its end.
std::optional<std::string> readInput()
{
    std::string bytes(65'536, '\0');
    ssize_t count = 0;
    do {
        count = read(STDIN_FILENO, bytes.data(), bytes.size());
    } while (count < 0 && errno == EINTR);
    if (count <= 0) {
        return std::nullopt;
    }
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

/// Hands every line of standard input to `take`, as it comes.
template <class Take>
void eachLine(Receiver& receiver, const Take& take)
{
    LineSplitter lines;
    while (true) {
        while (const auto line = lines.next()) {
            take(*line);
        }
        // While something is unread its port may be gone; else there is nothing to wait for but the input.
        while (!receiver.attend(receiver.typedIsWaiting() ? kPortTimeMs : -1, STDIN_FILENO)) {
            if (receiver.typedIsWaiting()) {
                receiver.checkConsolePort();
            }
        }
        const auto bytes = readInput();
        if (!bytes) {
            break;
        }
        lines.add(*bytes);
    }
    if (const auto line = lines.last()) {
        feedLine(receiver, *line);
    }
}

}  // namespace

void runTerminal(Receiver& receiver)
{
    eachLine(receiver, [&](const std::string& line) { receiver.type(line + kLineEnd); });
    receiver.settle();
    receiver.settleAfterGap();
}

void runScript(Receiver& receiver)
{
    eachLine(receiver, [&](const std::string& line) { feedLine(receiver, line); });
}

void writeReplies(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto count = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            throw Refused(std::string("standard output cannot be written: ") + std::strerror(errno));
        }
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}
