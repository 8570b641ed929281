#include "console/argumentText.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

std::vector<std::string> pieces(std::string_view text, char separator)
{
    std::vector<std::string> all;
    for (std::string_view piece = nextPiece(text, separator); !piece.empty(); piece = nextPiece(text, separator)) {
        all.emplace_back(piece);
    }
    EXPECT_TRUE(nextPiece(text, separator).empty());
    return all;
}

using Pieces = std::vector<std::string>;

TEST(NextPiece, ARunOfSeparatorsIsOne)
{
    EXPECT_EQ(pieces("a b", ' '), (Pieces{"a", "b"}));
    EXPECT_EQ(pieces("  a   bc  ", ' '), (Pieces{"a", "bc"}));
    EXPECT_EQ(pieces("a\tb", ' '), (Pieces{"a\tb"}));
    EXPECT_EQ(pieces("00-11--22-", '-'), (Pieces{"00", "11", "22"}));
    EXPECT_EQ(pieces("", ' '), Pieces{});
    EXPECT_EQ(pieces("   ", ' '), Pieces{});
}

TEST(DecimalNumber, TakesDigitsOnlyAndNineAtMost)
{
    EXPECT_EQ(decimalNumber("0"), 0);
    EXPECT_EQ(decimalNumber("65535"), 65'535);
    EXPECT_EQ(decimalNumber("000000007"), 7);
    EXPECT_EQ(decimalNumber("999999999"), 999'999'999);
    for (const char* text : {"", "0000000007", "4294967295", "-1", "+1", " 1", "1 ", "0x1", "1.0", "a"}) {
        EXPECT_EQ(decimalNumber(text), std::nullopt) << text;
    }
}

TEST(LeadingNumber, ReadsLikeAtoi)
{
    EXPECT_EQ(leadingNumber(""), 0);
    EXPECT_EQ(leadingNumber("x"), 0);
    EXPECT_EQ(leadingNumber("3"), 3);
    EXPECT_EQ(leadingNumber("  \t+3x"), 3);
    EXPECT_EQ(leadingNumber("-1"), -1);
    EXPECT_EQ(leadingNumber("4294967296"), INT_MAX);
    EXPECT_EQ(leadingNumber("-99999999999999999999"), INT_MIN);
}

}  // namespace
