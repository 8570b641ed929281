// Bytes written in hexadecimal, numbers read from it.
#include "platform/support/hexText.h"

#include <gtest/gtest.h>

namespace {

TEST(HexText, isABlankAndTwoCapitalDigitsForEveryByte)
{
    FixedText<16> hex;
    appendHex(hex, {"\x00\x0A\x7F\xA0\xFF", 5});
    EXPECT_EQ(hex.view(), " 00 0A 7F A0 FF");
}

TEST(HexText, stopsBehindTheLastByteThatFits)
{
    FixedText<7> hex;
    appendHex(hex, "a");
    appendHex(hex, "bc");
    EXPECT_EQ(hex.view(), " 61 62");
    appendHex(hex, "d");
    EXPECT_EQ(hex.view(), " 61 62");
}

TEST(HexNumber, takesDigitsInEitherCase)
{
    EXPECT_EQ(hexNumber("0"), 0U);
    EXPECT_EQ(hexNumber("09afAF"), 0x09AFAFU);
    EXPECT_EQ(hexNumber("fFfFfFfF"), 0xFFFFFFFFU);
    EXPECT_EQ(hexNumber(""), 0U);
}

TEST(HexNumber, isZeroForAnyOtherCharacter)
{
    for (const char* text : {"g1", "1g", "1@", "1`", "1/", "1:", "0x1", " 1", "1 ", "-1"}) {
        EXPECT_EQ(hexNumber(text), 0U) << text;
    }
}

TEST(HexNumber, keepsTheLast32Bits)
{
    EXPECT_EQ(hexNumber("123456789A"), 0x3456789AU);
}

}  // namespace
