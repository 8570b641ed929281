#include "diagnostics/linkDump.h"

#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

// ttssccccccccDDDDDDDDCCCCCCCCBBBBBBBBAAAAAAAAddccbbaalleeeeeeeerrrrrrrr
constexpr std::string_view kValues = "92050000000100000002000000030000000400000005060708090A0000000B0000000C";

std::string withHeader(std::string_view header)
{
    return std::string(header) + std::string(kValues);
}

TEST(LinkDump, ValuesTakeTheWholeDump)
{
    EXPECT_EQ(withHeader("TX:").size(), kLinkDumpLength);
}

TEST(LinkDump, EachFieldIsReadFromItsPlace)
{
    const std::string text = withHeader("TX:");
    const LinkDump dump = decodeLinkDump(LinkEnd::tx, text);
    EXPECT_EQ(dump.end, LinkEnd::tx);
    EXPECT_TRUE(dump.headed);
    EXPECT_EQ(dump.chipText(), "92");
    EXPECT_EQ(dump.chipType, 0x92U);
    EXPECT_EQ(dump.status, 5U);
    EXPECT_EQ(dump.tmdsClock, 1U);
    EXPECT_EQ(dump.mseD, 2U);
    EXPECT_EQ(dump.mseC, 3U);
    EXPECT_EQ(dump.mseB, 4U);
    EXPECT_EQ(dump.mseA, 5U);
    EXPECT_EQ(dump.maxErrorD, 6U);
    EXPECT_EQ(dump.maxErrorC, 7U);
    EXPECT_EQ(dump.maxErrorB, 8U);
    EXPECT_EQ(dump.maxErrorA, 9U);
    EXPECT_EQ(dump.cableLength, 10U);
    EXPECT_EQ(dump.totalBer, 11U);
    EXPECT_EQ(dump.retransmission, 12U);
}

// Without the right header the cable length is read at 3, the BER at 5 and the retransmission rate at 13.
void expectShifted(const LinkDump& dump)
{
    EXPECT_FALSE(dump.headed);
    EXPECT_EQ(dump.chipText(), "");
    EXPECT_EQ(dump.chipType, 0U);
    EXPECT_EQ(dump.chipName(), nullptr);
    EXPECT_EQ(dump.status, 0U);
    EXPECT_EQ(dump.tmdsClock, 0U);
    for (const std::uint32_t value :
         {dump.mseA, dump.mseB, dump.mseC, dump.mseD, dump.maxErrorA, dump.maxErrorB, dump.maxErrorC, dump.maxErrorD}) {
        EXPECT_EQ(value, 0U);
    }
    EXPECT_EQ(dump.cableLength, 0x92U);
    EXPECT_EQ(dump.totalBer, 0x05000000U);
    EXPECT_EQ(dump.retransmission, 0x01000000U);
}

TEST(LinkDump, AnotherHeaderShiftsWhatIsStillRead)
{
    for (const std::string_view header : {"RX:", "tx:", "TX;", " TX", "XX:"}) {
        SCOPED_TRACE(header);
        const std::string text = withHeader(header);
        expectShifted(decodeLinkDump(LinkEnd::tx, text));
    }
    const std::string text = withHeader("TX:");
    expectShifted(decodeLinkDump(LinkEnd::rx, text));
}

TEST(LinkDump, DigitsAreReadInEitherCaseAndAnythingElseMakesZero)
{
    struct {
        const char* digits;
        std::uint32_t value;
    } const kCases[] = {
        {"00000000", 0},          {"0000000f", 15},         {"0000000F", 15},         {"89ABCDEF", 0x89ABCDEF},
        {"89abcdef", 0x89ABCDEF}, {"FFFFFFFF", 0xFFFFFFFF}, {"80000000", 0x80000000}, {"0000000G", 0},
        {"0000000g", 0},          {"1234567:", 0},          {"1234567/", 0},          {"1234567@", 0},
        {"1234567`", 0},          {" 1234567", 0},          {"+1234567", 0},          {"-1234567", 0},
        {"0x123456", 0},          {"1234567\x80", 0},
    };
    for (const auto& example : kCases) {
        SCOPED_TRACE(example.digits);
        std::string text = withHeader("RX:");
        text.replace(7, 8, example.digits);
        text.replace(65, 8, example.digits);
        const LinkDump dump = decodeLinkDump(LinkEnd::rx, text);
        EXPECT_EQ(dump.tmdsClock, example.value);
        EXPECT_EQ(dump.retransmission, example.value);
        EXPECT_EQ(dump.mseD, 2U);  // its neighbour is untouched
    }
}

TEST(LinkDump, StatusBitsAreHotPlugAndFiveVolt)
{
    struct {
        const char* status;
        bool hotPlug;
        bool fiveVolt;
    } const kCases[] = {{"00", false, false}, {"01", true, false},  {"04", false, true}, {"05", true, true},
                        {"02", false, false}, {"FA", false, false}, {"FF", true, true},  {"0G", false, false}};
    for (const auto& example : kCases) {
        SCOPED_TRACE(example.status);
        std::string text = withHeader("TX:");
        text.replace(5, 2, example.status);
        const LinkDump dump = decodeLinkDump(LinkEnd::tx, text);
        EXPECT_EQ(dump.hotPlug(), example.hotPlug);
        EXPECT_EQ(dump.fiveVolt(), example.fiveVolt);
    }
}

struct ChipCase {
    unsigned tx;
    unsigned rx;
    const char* name;
    bool newFamily;
};
constexpr ChipCase kChipCases[] = {
    {129, 1, "VS10", false},   {130, 2, "VS100", false},  {145, 17, "VS2000", true}, {146, 18, "VS2311", true},
    {147, 19, "VS2310", true}, {151, 23, "VS2110", true}, {159, 31, "VS2010", true},
};

TEST(LinkDump, EveryChipTypeOfEitherEndHasItsNameOrNone)
{
    for (const LinkEnd end : {LinkEnd::tx, LinkEnd::rx}) {
        for (unsigned type = 0; type < 256; ++type) {
            SCOPED_TRACE(type);
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02X", type);
            std::string text = withHeader(end == LinkEnd::tx ? "TX:" : "RX:");
            text.replace(3, 2, digits);
            const LinkDump dump = decodeLinkDump(end, text);
            const ChipCase* expected = nullptr;
            for (const ChipCase& chip : kChipCases) {
                if (type == (end == LinkEnd::tx ? chip.tx : chip.rx)) {
                    expected = &chip;
                }
            }
            EXPECT_EQ(dump.chipText(), digits);
            EXPECT_EQ(dump.newFamily(), expected != nullptr && expected->newFamily);
            if (expected != nullptr) {
                EXPECT_STREQ(dump.chipName(), expected->name);
            } else {
                EXPECT_EQ(dump.chipName(), nullptr);
            }
        }
    }
}

TEST(LinkDump, OfAShortDumpWhatIsThereIsRead)
{
    const std::string text = withHeader("TX:");
    for (std::size_t length = 0; length <= text.size(); ++length) {
        SCOPED_TRACE(length);
        const LinkDump dump = decodeLinkDump(LinkEnd::tx, std::string_view(text).substr(0, length));
        EXPECT_EQ(dump.headed, length >= 3);
        EXPECT_EQ(dump.chipType, length >= 5 ? 0x92U : length == 4 ? 9U : 0U);
        EXPECT_EQ(dump.tmdsClock, length >= 15 ? 1U : 0U);
        EXPECT_EQ(dump.cableLength, length >= 57 ? 10U : 0U);
        EXPECT_EQ(dump.retransmission, length >= 73 ? 12U : 0U);
    }
}

TEST(LinkDump, WhatFollowsALongDumpIsIgnored)
{
    const std::string text = withHeader("TX:") + std::string(1'000'000, 'F');
    const LinkDump dump = decodeLinkDump(LinkEnd::tx, text);
    EXPECT_EQ(dump.retransmission, 12U);
}

TEST(LinkDump, NoTextIsTooOddToBeRead)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<int> anyByte(0, 255);
    std::uniform_int_distribution<std::size_t> anyLength(0, 160);
    constexpr std::string_view kLikely = "0123456789abcdefABCDEFgG:TRX";
    for (int round = 0; round < 20'000; ++round) {
        std::string text(anyLength(random), '\0');
        for (char& character : text) {
            const int byte = anyByte(random);
            character =
                round % 2 == 0 ? static_cast<char>(byte) : kLikely[static_cast<std::size_t>(byte) % kLikely.size()];
        }
        const LinkEnd end = round % 4 < 2 ? LinkEnd::tx : LinkEnd::rx;
        if (round % 3 != 0 && text.size() >= 3) {
            text.replace(0, 3, end == LinkEnd::tx ? "TX:" : "RX:");
        }
        const LinkDump dump = decodeLinkDump(end, text);
        ASSERT_EQ(dump.headed, text.starts_with(end == LinkEnd::tx ? "TX:" : "RX:"));
        for (const std::uint32_t value :
             {dump.chipType, dump.status, dump.maxErrorA, dump.maxErrorD, dump.cableLength}) {
            ASSERT_LE(value, 0xFFU);
        }
        ASSERT_EQ(dump.newFamily(), dump.newFamily() && dump.chipName() != nullptr);
        ASSERT_GE(decibels(end, dump.mseA), 0);
        ASSERT_LE(decibels(end, dump.mseA), 112);
    }
}

// Worked out by hand: 20 log10(raw / 2^19) + 2 at the TX end, 2^16 at the RX end; the sign and the fraction go.
TEST(LinkDump, Decibels)
{
    struct {
        LinkEnd end;
        std::uint32_t raw;
        int value;
    } const kCases[] = {
        {LinkEnd::tx, 0, 0},                                      // stays 0
        {LinkEnd::tx, 524'288, 2},                                // 2^19:       0    + 2 =    2
        {LinkEnd::tx, 1'048'576, 8},                              // 2^20:       6.02 + 2 =    8.02
        {LinkEnd::tx, 5'242'880, 22},                             // 10 * 2^19: 20    + 2 =   22
        {LinkEnd::tx, 262'144, 4},                                // 2^18:      -6.02 + 2 =   -4.02
        {LinkEnd::tx, 416'457, 0},                                // 0.7943 * 2^19: -2 + 2 =   0.00
        {LinkEnd::tx, 52'429, 17},                                // just above 2^19 / 10: -19.99997 + 2 = -17.99997
        {LinkEnd::tx, 52'428, 18},                                // just below it:        -20.00014 + 2 = -18.00014
        {LinkEnd::tx, 1, 112},                                    // -114.39 + 2 = -112.39
        {LinkEnd::tx, 0x7FFFFFFF, 74},                            // 2^31:      72.25 + 2 =   74.25
        {LinkEnd::tx, 0x80000000, 74},                            // the value is unsigned
        {LinkEnd::tx, 0xFFFFFFFF, 80},                            // 2^32:      78.27 + 2 =   80.27
        {LinkEnd::rx, 0, 0},           {LinkEnd::rx, 65'536, 2},  // 2^16
        {LinkEnd::rx, 131'072, 8},                                // 2^17
        {LinkEnd::rx, 655'360, 22},                               // 10 * 2^16
        {LinkEnd::rx, 32'768, 4},                                 // 2^15
        {LinkEnd::rx, 6'554, 17},                                 // just above 2^16 / 10: -19.9995 + 2 = -17.9995
        {LinkEnd::rx, 6'553, 18},                                 // just below it:        -20.0008 + 2 = -18.0008
        {LinkEnd::rx, 1, 94},                                     // -96.33 + 2 = -94.33
        {LinkEnd::rx, 524'288, 20},                               // 2^19: 18.06 + 2 = 20.06
        {LinkEnd::rx, 0xFFFFFFFF, 98},                            // 96.33 + 2 = 98.33
    };
    for (const auto& example : kCases) {
        EXPECT_EQ(decibels(example.end, example.raw), example.value) << nameOf(example.end) << ' ' << example.raw;
    }
}

}  // namespace
