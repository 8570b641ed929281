// Link dumps into the decoder and the report. The first byte chooses the mode: 'a' all, 'h' allhex, 'u' update, a digit
// one of the nine line modes, 'o' a word of the input's own. Then the TX dump, a zero byte, the RX dump, and behind
// another zero byte that word.
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "diagnostics/linkDump.h"
#include "diagnostics/linkReport.h"
#include "fuzz/daemonUnderTest.h"
#include "fuzz/pretendSystem.h"
#include "fuzz/require.h"
#include "support/wholeJson.h"

namespace {

constexpr std::string_view kLineModes[] = {"maxerr",  "mse", "hpd",  "5vstat",  "devtype",
                                           "tmdsclk", "ber", "retr", "cablelen"};

std::vector<std::string>& documents()
{
    static auto& instance = *new std::vector<std::string>;
    return instance;
}

std::string report(std::string_view mode, const std::string& tx, const std::string& rx)
{
    const pretend::DaemonScope scope;
    reportLink(mode, tx, rx);
    return pretend::takeReplies();
}

std::uint32_t number(std::string_view text, std::size_t position, std::size_t length)
{
    const std::string digits(position < text.size() ? text.substr(position, length) : std::string_view());
    const bool hex = !digits.empty() && digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    return hex ? static_cast<std::uint32_t>(std::strtoul(digits.c_str(), nullptr, 16)) : 0;
}

void checkDecoder(LinkEnd end, const std::string& text)
{
    const LinkDump dump = decodeLinkDump(end, text);
    require(dump.headed == text.starts_with(std::string(nameOf(end)) + ':'), "the header tells the end", text);
    const bool headed = dump.headed;
    require(dump.chipType == (headed ? number(text, 3, 2) : 0), "chip type", text);
    require(dump.mseA == (headed ? number(text, 39, 8) : 0), "MSE of channel A", text);
    require(dump.cableLength == number(text, headed ? 55 : 3, 2), "cable length", text);
    require(dump.retransmission == number(text, headed ? 65 : 13, 8), "retransmission rate", text);
    for (const std::uint32_t mse : {dump.mseA, dump.mseB, dump.mseC, dump.mseD}) {
        require(decibels(end, mse) >= 0 && decibels(end, mse) < 120, "decibels of 32 bits", text);
    }
}

bool isReport(std::string_view lines)
{
    while (!lines.empty()) {
        const std::size_t end = lines.find("\r\n");
        const bool known = lines.starts_with("TX - ") || lines.starts_with("RX - ") || lines.starts_with("  Channel ");
        if (end == std::string_view::npos || !known) {
            return false;
        }
        lines.remove_prefix(end + 2);
    }
    return true;
}

void checkLines(std::string_view mode, const std::string& tx, const std::string& rx)
{
    const std::string lines = report(mode, tx, rx);
    require(!lines.empty() && isReport(lines), "a report's lines have their forms", lines);
}

void checkFullReport(const std::string& tx, const std::string& rx)
{
    std::string all;
    for (const std::string_view mode : kLineModes) {
        all += report(mode, tx, rx);
    }
    require(report("all", tx, rx) == all, "the full report is the sum of the others", tx);
}

void checkRawReport(const std::string& tx, const std::string& rx)
{
    const std::string raw = report("allhex", tx, rx);
    require(raw.empty() || raw.ends_with("\r\n"), "raw lines are whole", raw);
}

void checkUpdate(const std::string& tx, const std::string& rx)
{
    documents().clear();
    require(report("update", tx, rx).empty(), "storing prints nothing", tx);
    require(documents().size() >= 4 && documents().size() <= 7, "the documents of both ends", tx);
    for (const std::string& document : documents()) {
        require(isJson(document), "a status document is whole JSON", document);
    }
}

}  // namespace

// A store that keeps nothing: what stands in a dump decides nothing there.
extern "C" int __wrap_user_status_update(const char* document)
{
    documents().emplace_back(document);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    ByteReader input(bytes, size);
    DaemonUnderTest::instance().takeRole('e');
    const char mode = input.next();
    const std::string tx = input.text();
    const std::string rx = input.text();
    checkDecoder(LinkEnd::tx, tx);
    checkDecoder(LinkEnd::rx, rx);
    switch (mode) {
    case 'a': checkFullReport(tx, rx); break;
    case 'h': checkRawReport(tx, rx); break;
    case 'u': checkUpdate(tx, rx); break;
    case 'o': report(input.takeRest(), tx, rx); break;
    default: checkLines(kLineModes[static_cast<unsigned char>(mode) % std::size(kLineModes)], tx, rx);
    }
    return 0;
}
