#include "diagnostics/linkDump.h"

#include <cmath>
#include <cstddef>

#include "platform/support/hexText.h"

namespace {

struct Field {
    std::size_t position;
    std::size_t length;  // digits
    std::uint32_t LinkDump::*value;
    bool needsHeader = true;
};

// clang-format off
constexpr Field kFields[] = {
    // 0         1         2         3         4         5         6         7
    // 0123456789012345678901234567890123456789012345678901234567890123456789012
    // TX:ttssccccccccDDDDDDDDCCCCCCCCBBBBBBBBAAAAAAAAddccbbaalleeeeeeeerrrrrrrr
    { 3, 2, &LinkDump::chipType},
    { 5, 2, &LinkDump::status},
    { 7, 8, &LinkDump::tmdsClock},
    {15, 8, &LinkDump::mseD},
    {23, 8, &LinkDump::mseC},
    {31, 8, &LinkDump::mseB},
    {39, 8, &LinkDump::mseA},
    {47, 2, &LinkDump::maxErrorD},
    {49, 2, &LinkDump::maxErrorC},
    {51, 2, &LinkDump::maxErrorB},
    {53, 2, &LinkDump::maxErrorA},
    {55, 2, &LinkDump::cableLength,    false},
    {57, 8, &LinkDump::totalBer,       false},
    {65, 8, &LinkDump::retransmission, false},
};
// clang-format on

constexpr std::size_t kHeaderLength = 3;

constexpr bool fieldsCoverTheDump()
{
    std::size_t next = kHeaderLength;
    for (const Field& field : kFields) {
        if (field.position != next) {
            return false;
        }
        next += field.length;
    }
    return next == kLinkDumpLength;
}
static_assert(fieldsCoverTheDump());

// Kept: without the header of its end a dump is read as if it began with the cable length, at position 3.
constexpr std::size_t kHeaderlessShift = 52;

struct Chip {
    std::uint32_t txType;
    std::uint32_t rxType;
    const char* name;
    bool newFamily;
};

constexpr Chip kChips[] = {
    {0x81, 0x01, "VS10", false},  {0x82, 0x02, "VS100", false}, {0x91, 0x11, "VS2000", true},
    {0x92, 0x12, "VS2311", true}, {0x93, 0x13, "VS2310", true}, {0x97, 0x17, "VS2110", true},
    {0x9F, 0x1F, "VS2010", true},
};

const Chip* findChip(const LinkDump& dump)
{
    for (const Chip& chip : kChips) {
        if (dump.chipType == (dump.end == LinkEnd::tx ? chip.txType : chip.rxType)) {
            return &chip;
        }
    }
    return nullptr;
}

std::string_view piece(std::string_view text, std::size_t position, std::size_t length)
{
    return position < text.size() ? text.substr(position, length) : std::string_view();
}

}  // namespace

const char* nameOf(LinkEnd end)
{
    return end == LinkEnd::tx ? "TX" : "RX";
}

std::string_view LinkDump::chipText() const
{
    return headed ? piece(text, kFields[0].position, kFields[0].length) : std::string_view();
}

const char* LinkDump::chipName() const
{
    const Chip* chip = findChip(*this);
    return chip != nullptr ? chip->name : nullptr;
}

bool LinkDump::newFamily() const
{
    const Chip* chip = findChip(*this);
    return chip != nullptr && chip->newFamily;
}

LinkDump decodeLinkDump(LinkEnd end, std::string_view text)
{
    LinkDump dump{.end = end, .text = text};
    dump.headed = text.starts_with(end == LinkEnd::tx ? "TX:" : "RX:");
    for (const Field& field : kFields) {
        if (dump.headed) {
            dump.*field.value = hexNumber(piece(text, field.position, field.length));
        } else if (!field.needsHeader) {
            dump.*field.value = hexNumber(piece(text, field.position - kHeaderlessShift, field.length));
        }
    }
    return dump;
}

int decibels(LinkEnd end, std::uint32_t mse)
{
    if (mse == 0) {
        return 0;
    }
    // Kept: the two chips scale their value differently.
    const double fullScale = end == LinkEnd::tx ? 524'288.0 : 65'536.0;
    return static_cast<int>(std::fabs(20.0 * std::log10(mse / fullScale) + 2.0));
}
