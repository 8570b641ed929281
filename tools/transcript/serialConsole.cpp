#include "transcript/serialConsole.h"

#include <stdexcept>
#include <string_view>

namespace transcript {

namespace {

// What the loop prints when bytes or a request woke it.
constexpr std::string_view kWokenLine = "select success!";
// The last of the lines that the loop prints at a quiet gap about a burst that is not part of a handshake.
constexpr std::string_view kGapLine = "totalLenFor900X=";

}  // namespace

bool isSilentBurst(const std::string& bytes)
{
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        if (bytes[at] != '\r' && bytes[at] != '\n') {
            continue;
        }
        const std::string_view seen(bytes.data(), at + 1);
        const bool handshake = seen.find("WP_") != std::string_view::npos && seen.find("]$") != std::string_view::npos;
        if (handshake || seen.starts_with("]$\r") || seen.find("COMMAND FAIL") != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

bool isBurstOfReturns(const Event& event)
{
    if (event.topic != "recvHDBTSendTo9001" || event.payload.value_or("").empty()) {
        return false;
    }
    constexpr std::string_view kReturn = " 0D";
    std::string_view rest = *event.payload;
    while (rest.starts_with(kReturn)) {
        rest.remove_prefix(kReturn.size());
    }
    return rest.empty();
}

void SerialConsole::await(const char* what, const Condition& condition)
{
    if (!becomesTrueWithin(std::chrono::milliseconds(0), condition)) {
        throw std::runtime_error(std::string("waited in vain for ") + what);
    }
}

// Only the gap behind the bytes counts, not one before they were read.
bool SerialConsole::gapSeen(std::size_t logStart) const
{
    const std::string text = logFrom(logStart);
    const std::size_t woken = text.find(kWokenLine);
    return woken != std::string::npos && text.find(kGapLine, woken) != std::string::npos;
}

// A CR either still joins a silent burst, which it does not change, or makes a burst that is seen.
// The gap counts only when all of them have been read before it: the last one would be a burst of the next step.
void SerialConsole::typeReturnsUntilGap()
{
    std::chrono::milliseconds fewGaps{100};
    await("the quiet gap of a handshake", [&] {
        send("\r");
        awaitAllRead();
        passLoop();
        const std::size_t read = logSize();
        fewGaps *= 2;  // a busy console takes longer, and each CR puts the gap off
        return becomesTrueWithin(fewGaps / 2, [&] { return logFrom(read).find(kGapLine) != std::string::npos; });
    });
}

void SerialConsole::endBurst()
{
    typeReturnsUntilGap();
    passLoop();
    openBurst_.clear();
}

bool SerialConsole::typeAndSettle(const std::string& bytes)
{
    const std::size_t logStart = logSize();
    // Steps without a wait between them may or may not have become one burst.
    const bool maybeSilent = isSilentBurst(openBurst_ + bytes) || isSilentBurst(bytes);
    openBurst_ += bytes;
    send(bytes);
    awaitAllRead();
    passLoop();
    const bool gapMatters = internalRole_ || bytes.find("RS232zone") != std::string::npos;
    if (!gapMatters || bytes.empty()) {
        return false;
    }
    if (maybeSilent) {
        typeReturnsUntilGap();
    } else {
        await("a quiet gap", [&] { return gapSeen(logStart); });
    }
    passLoop();
    openBurst_.clear();
    return maybeSilent;
}

}  // namespace transcript
