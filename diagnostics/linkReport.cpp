#include "diagnostics/linkReport.h"

#include <cstdint>
#include <span>

#include "diagnostics/linkDump.h"
#include "platform/support/report.h"
#include "platform/support/settings.h"
#include "serial/replyWriter.h"

namespace {

// A status document that does not fit is never written half.
using StatusText = FixedText<512>;

struct Link {
    LinkDump tx;
    LinkDump rx;
};

// Eight-digit values of 80000000 and more read as negative numbers.
int shown(std::uint32_t value)
{
    return static_cast<int>(value);
}

const char* onOff(bool on)
{
    return on ? "on" : "off";
}

struct Channels {
    int a;
    int b;
    int c;
    int d;
};

Channels maxErrors(const LinkDump& dump)
{
    return {shown(dump.maxErrorA), shown(dump.maxErrorB), shown(dump.maxErrorC), shown(dump.maxErrorD)};
}

Channels rawMse(const LinkDump& dump)
{
    return {shown(dump.mseA), shown(dump.mseB), shown(dump.mseC), shown(dump.mseD)};
}

Channels mseDecibels(const LinkDump& dump)
{
    return {decibels(dump.end, dump.mseA), decibels(dump.end, dump.mseB), decibels(dump.end, dump.mseC),
            decibels(dump.end, dump.mseD)};
}

void printChannels(const LinkDump& dump, const char* title, const Channels& channels)
{
    uartReply("%s - %s :\r\n", nameOf(dump.end), title);
    uartReply("  Channel D:%d\r\n", channels.d);
    uartReply("  Channel C:%d\r\n", channels.c);
    uartReply("  Channel B:%d\r\n", channels.b);
    uartReply("  Channel A:%d\r\n", channels.a);
}

// What a mode prints of one end; the TX end comes first.
struct Mode {
    std::string_view name;
    void (*print)(const LinkDump& dump);
};

// The order is that of the full report.
constexpr Mode kModes[] = {
    {"maxerr", [](const LinkDump& dump) { printChannels(dump, "MaxErr", maxErrors(dump)); }},
    {"mse", [](const LinkDump& dump) { printChannels(dump, "MSE", rawMse(dump)); }},
    {"hpd", [](const LinkDump& dump) { uartReply("%s - HPD : %s\r\n", nameOf(dump.end), onOff(dump.hotPlug())); }},
    {"5vstat",
     [](const LinkDump& dump) { uartReply("%s - 5V HDMI : %s\r\n", nameOf(dump.end), onOff(dump.fiveVolt())); }},
    {"devtype",
     [](const LinkDump& dump) {
         const char* chip = dump.chipName();
         uartReply("%s - Device : %s\r\n", nameOf(dump.end), chip != nullptr ? chip : "");
     }},
    {"tmdsclk",
     [](const LinkDump& dump) { uartReply("%s - TMDS Clock : %d\r\n", nameOf(dump.end), shown(dump.tmdsClock)); }},
    {"ber", [](const LinkDump& dump) { uartReply("%s - Total BER : %d\r\n", nameOf(dump.end), shown(dump.totalBer)); }},
    {"retr",
     [](const LinkDump& dump) {
         uartReply("%s - Retransmission rate :%d\r\n", nameOf(dump.end), shown(dump.retransmission));
     }},
    {"cablelen",
     [](const LinkDump& dump) { uartReply("%s - Cable length : %d\r\n", nameOf(dump.end), shown(dump.cableLength)); }},
};

void printBothEnds(const Mode& mode, const Link& link)
{
    mode.print(link.tx);
    mode.print(link.rx);
}

// Old chips have no dump worth showing. Kept: the RX line has the BER where the TX line has the clock, and the
// retransmission rate where it has the maximum errors.
void printRaw(const Link& link)
{
    constexpr std::size_t kShownLength = 57;
    struct Piece {
        std::size_t position;
        std::size_t length;
    };
    constexpr Piece kTxPieces[] = {{0, kShownLength}};
    constexpr Piece kRxPieces[] = {{0, 7}, {57, 8}, {15, 32}, {65, 8}, {55, 2}};

    const auto print = [](const LinkDump& dump, const auto& pieces) {
        if (!dump.newFamily()) {
            return;
        }
        FixedText<kShownLength + 1> line;
        for (const Piece& piece : pieces) {
            if (piece.position < dump.text.size()) {
                line.append(dump.text.substr(piece.position, piece.length));
            }
        }
        uartReply("%s\r\n", line.c_str());
    };
    print(link.tx, kTxPieces);
    print(link.rx, kRxPieces);
}

constexpr char kChannelsTemplate[] =
    "{\"video\":{\"vidIn\":{\"hdbtIn\":{\"hdbtIn1\":{\"linkMonitoring\":{\"%s\":{\"%s\":{\"channelA\":%d,"
    "\"channelB\":%d,\"channelC\":%d,\"channelD\":%d}}}}}}}}";
constexpr char kSummaryTemplate[] =
    "{\"video\":{\"vidIn\":{\"hdbtIn\":{\"hdbtIn1\":{\"linkMonitoring\":{\"%s\":{\"cableLength\":%d,"
    "\"TMDSClock\":%d,\"totalBER\":%d,\"retr\":%d,\"HPDstatus\":%s,\"5Vstatus\":%s,\"chipType\":\"%s\"}}}}}}}";

bool fillChannels(StatusText& text, const LinkDump& dump, const char* group, const Channels& channels)
{
    return fill(text, kChannelsTemplate, nameOf(dump.end), group, channels.a, channels.b, channels.c, channels.d);
}

bool fillSummary(StatusText& text, const LinkDump& dump, const char* unknownChip)
{
    const char* chip = dump.chipName();
    const bool whole = fill(text, kSummaryTemplate, nameOf(dump.end), shown(dump.cableLength), shown(dump.tmdsClock),
                            shown(dump.totalBer), shown(dump.retransmission), dump.hotPlug(), dump.fiveVolt(),
                            chip != nullptr ? chip : unknownChip);
    printError("\033[1;31;32m[%s][%d] userStatusUpdat=%s \033[0m \n", "reportLink", __LINE__, text.c_str());
    return whole;
}

struct StatusDocument {
    bool (*due)(const Link& link);
    bool (*compose)(StatusText& text, const Link& link);  // false when it did not fit
};

// Kept: one end's chip decides about the other end's documents.
constexpr StatusDocument kMeasurements[] = {
    {[](const Link&) { return true; },
     [](StatusText& text, const Link& link) { return fillChannels(text, link.tx, "maxErr", maxErrors(link.tx)); }},
    {[](const Link& link) { return !link.tx.newFamily(); },
     [](StatusText& text, const Link& link) { return fillChannels(text, link.rx, "maxErr", maxErrors(link.rx)); }},
    {[](const Link& link) { return link.tx.newFamily() && link.rx.newFamily(); },
     [](StatusText& text, const Link& link) {
         return fill(text, intLeaf<"video.vidIn.hdbtIn.hdbtIn1.linkMonitoring.RX.retr">, shown(link.rx.retransmission));
     }},
    {[](const Link& link) { return link.rx.newFamily(); },
     [](StatusText& text, const Link& link) { return fillChannels(text, link.tx, "MSE", mseDecibels(link.tx)); }},
    {[](const Link&) { return true; },
     [](StatusText& text, const Link& link) { return fillChannels(text, link.rx, "MSE", mseDecibels(link.rx)); }},
};

// Kept: an unknown chip goes by another name at each end.
constexpr StatusDocument kSummaries[] = {
    {[](const Link&) { return true; },
     [](StatusText& text, const Link& link) { return fillSummary(text, link.tx, "---"); }},
    {[](const Link&) { return true; },
     [](StatusText& text, const Link& link) { return fillSummary(text, link.rx, "VS2310"); }},
};

void logChips(const Link& link)
{
    printError("\033[1;31;31m[%s][%d] +++++ htoi(allHDBTParameters.chipTypeTX)=%d \033[0m \n", "reportLink", __LINE__,
               shown(link.tx.chipType));
    printError("\033[1;31;31m[%s][%d] +++++ allHDBTParameters.chipTypeRX=%.*s \033[0m \n", "reportLink", __LINE__,
               static_cast<int>(link.rx.chipText().size()), link.rx.chipText().data());
}

void storeDocuments(std::span<const StatusDocument> documents, const Link& link)
{
    for (const StatusDocument& document : documents) {
        if (!document.due(link)) {
            continue;
        }
        StatusText text;
        const bool whole = document.compose(text, link);
        if (!storeStatus(text, whole)) {
            reportSystemError("user_config_update");
        }
    }
}

void storeLink(const Link& link)
{
    storeDocuments(kMeasurements, link);
    logChips(link);
    storeDocuments(kSummaries, link);
}

}  // namespace

void reportLink(std::string_view mode, std::string_view txDump, std::string_view rxDump)
{
    const Link link{decodeLinkDump(LinkEnd::tx, txDump), decodeLinkDump(LinkEnd::rx, rxDump)};
    if (mode == "allhex") {
        printRaw(link);
        return;
    }
    if (mode == "update") {
        storeLink(link);
        return;
    }
    for (const Mode& known : kModes) {
        if (mode == known.name || mode == "all") {
            printBothEnds(known, link);
        }
    }
}
