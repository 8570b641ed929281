#include "serial/rs232zone.h"

#include <string_view>

#include "platform/lpc.h"
#include "platform/support/hexText.h"
#include "platform/support/report.h"
#include "serial/replyWriter.h"

namespace {

constexpr std::string_view kWord = "RS232zone";

using HexText = FixedText<256>;

// The two typed characters backslash and r stand for a carriage return.
HexText withCarriageReturns(const HexText& hex)
{
    constexpr std::string_view kTyped = "5C 72";
    HexText replaced;
    std::string_view rest = hex.view();
    for (std::size_t at = rest.find(kTyped); at != std::string_view::npos; at = rest.find(kTyped)) {
        replaced.append(rest.substr(0, at));
        replaced.append("0D");
        rest.remove_prefix(at + kTyped.size());
    }
    replaced.append(rest);
    return replaced;
}

std::size_t skipBlanks(std::string_view text, std::size_t at)
{
    while (at < text.size() && text[at] == ' ') {
        ++at;
    }
    return at;
}

// The bracketed payload of a trimmed text of n bytes, brackets included; empty when the form is wrong. The payload's
// end is counted from the text's length, not searched: a blank before the bracket therefore moves the bracket and the
// text is refused, as it should be.
std::string_view bracketed(std::string_view text, std::size_t n)
{
    if (n < kWord.size() + 2) {
        return {};
    }
    const std::size_t length = n - kWord.size();
    std::size_t at = skipBlanks(text, 0) + kWord.size();
    at = skipBlanks(text, at);
    if (length > kBracketCapacity || at + length > text.size()) {
        return {};
    }
    const std::string_view work = text.substr(at, length);
    return work.front() == '[' && work.back() == ']' ? work : std::string_view();
}

}  // namespace

bool Rs232zone::takeLine(const char* line, std::size_t length, char terminator)
{
    const std::string_view text(line);
    if (text.starts_with(kWord) || pending_) {
        collect(line, length, terminator);
        return true;
    }
    if (text.find(kWord) != std::string_view::npos && text.find("help") == std::string_view::npos) {
        printError("\033[1;31;36m[%s][%d] is fake RS232zone\033[0m\n", "fakeRS232zoneStringProcess", __LINE__);
        fake_ = true;
        collect(line, length, terminator);
        return true;
    }
    return false;
}

void Rs232zone::collect(const char* line, std::size_t length, char terminator)
{
    pending_ = true;
    text_.append(std::string_view(line, length));
    text_.append(terminator);
}

void Rs232zone::finish()
{
    std::size_t n = text_.size();
    while (n > 0 && (text_.c_str()[n - 1] == '\r' || text_.c_str()[n - 1] == '\n')) {
        --n;
    }
    if (!fake_) {
        answer(n);
    }
    fake_ = false;
    text_.clear();
    pending_ = false;
}

void Rs232zone::answer(std::size_t n) const
{
    FixedText<300> reply;
    const std::string_view work = bracketed(text_.view(), n);
    if (work.empty()) {
        reply.append("Command FAILED: (");
        reply.append(text_.view().substr(0, n));
        reply.append(")\r\n");
    } else {
        HexText hex;
        appendHex(hex, work.substr(1, work.size() - 2));
        if (lpc_proxy_call("displayControl", "HexRS232zone", withCarriageReturns(hex).c_str()) != 0) {
            reportSystemError("lpc_proxy_call");
            return;
        }
        reply.append(text_.view().substr(0, n));
        reply.append("\r\n");
    }
    if (uartWriteRaw(reply.c_str(), reply.size()) == -1) {
        reportSystemError("write");
    }
}
