// Templates and what they are filled with; bounded texts; messages.
#include <cerrno>
#include <string>

#include <gtest/gtest.h>
#include <json-c/json.h>

#include "platform/support/jsonTemplate.h"
#include "platform/support/report.h"
#include "support/outputFile.h"

namespace {

std::string filled(const char* jsonTemplate, auto... values)
{
    Document document;
    EXPECT_TRUE(fill(document, jsonTemplate, values...));
    return document.c_str();
}

// Templates

TEST(JsonTemplate, nestsAPathByItsDots)
{
    EXPECT_STREQ(boolLeaf<"control.ledMode">, R"({"control":{"ledMode":%s}})");
    EXPECT_STREQ(intLeaf<"a">, R"({"a":%d})");
    EXPECT_STREQ(textLeaf<"a.b.c">, R"({"a":{"b":{"c":"%s"}}})");
}

TEST(JsonTemplate, isFilledByTheKindOfItsValue)
{
    EXPECT_EQ(filled(boolLeaf<"a.b">, true), R"({"a":{"b":true}})");
    EXPECT_EQ(filled(boolLeaf<"a.b">, false), R"({"a":{"b":false}})");
    EXPECT_EQ(filled(intLeaf<"a.b">, -80), R"({"a":{"b":-80}})");
    EXPECT_EQ(filled(intLeaf<"a.b">, -2147483647 - 1), R"({"a":{"b":-2147483648}})");
    EXPECT_EQ(filled(textLeaf<"a.b">, "x y"), R"({"a":{"b":"x y"}})");
    EXPECT_EQ(filled(textLeaf<"a.b">, ""), R"({"a":{"b":""}})");
}

TEST(JsonTemplate, takesSeveralValuesInTheirOrder)
{
    EXPECT_EQ(filled(R"({"a":%d,"b":"%s","c":%s})", 1, "two", true), R"({"a":1,"b":"two","c":true})");
}

TEST(JsonTemplate, isCopiedWhenItHoldsNoPlaceholder)
{
    EXPECT_EQ(filled(R"({"a":1})", 5), R"({"a":1})");
}

TEST(JsonTemplate, doesNotReadItsValueAsATemplate)
{
    EXPECT_EQ(filled(R"({"a":"%s","b":"%s"})", "%d%s%n", "x"), R"({"a":"%d%s%n","b":"x"})");
}

TEST(JsonTemplate, escapesEveryByteAsJsonCDoes)
{
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text = std::string("x") + static_cast<char>(byte) + "y";
        json_object* object = json_object_new_string(text.c_str());
        const std::string expected =
            json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
        json_object_put(object);
        EXPECT_EQ(filled("\"%s\"", text.c_str()), expected) << byte;
    }
}

TEST(JsonTemplate, makesDocumentsThatReadBackAsTheirText)
{
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text(3, static_cast<char>(byte));
        json_object* object = json_tokener_parse(filled(textLeaf<"a">, text.c_str()).c_str());
        ASSERT_NE(object, nullptr) << byte;
        EXPECT_EQ(std::string(json_object_get_string(json_object_object_get(object, "a"))), text) << byte;
        json_object_put(object);
    }
}

TEST(JsonTemplate, tellsWhenADocumentDoesNotFit)
{
    FixedText<16> document;
    EXPECT_TRUE(fill(document, R"({"a":"%s"})", "1234567"));
    EXPECT_EQ(document.view(), R"({"a":"1234567"})");
    EXPECT_FALSE(fill(document, R"({"a":"%s"})", "12345678"));
    EXPECT_LT(document.size(), 16U);
    EXPECT_FALSE(fill(document, R"({"a":"%s"})", "\x01\x01\x01"));
}

TEST(JsonTemplate, fitsADocumentOf255Bytes)
{
    constexpr std::size_t kFrame = 8;  // {"a":""}
    const std::string most(255 - kFrame, 'x');
    EXPECT_EQ(filled(textLeaf<"a">, most.c_str()).size(), 255U);
    Document document;
    EXPECT_FALSE(fill(document, textLeaf<"a">, (most + "x").c_str()));
}

// Bounded texts

TEST(FixedTextTest, cutsAndTellsSo)
{
    FixedText<8> text;
    EXPECT_TRUE(text.empty());
    EXPECT_TRUE(text.append("1234567"));
    EXPECT_EQ(text.size(), 7U);
    EXPECT_FALSE(text.append('8'));
    EXPECT_STREQ(text.c_str(), "1234567");
    EXPECT_FALSE(text.append("89"));
    EXPECT_TRUE(text.append(""));
    text.clear();
    EXPECT_STREQ(text.c_str(), "");
    EXPECT_FALSE(text.append("123456789"));
    EXPECT_STREQ(text.c_str(), "1234567");
}

TEST(FixedTextTest, formatsWithinItsBound)
{
    FixedText<8> text;
    EXPECT_TRUE(text.format("%d-%s", 12, "abcd"));
    EXPECT_EQ(text.view(), "12-abcd");
    EXPECT_FALSE(text.format("%d-%s", 12, "abcde"));
    EXPECT_EQ(text.view(), "12-abcd");
    EXPECT_EQ(text.size(), 7U);
}

TEST(FixedTextTest, holdsZeroBytes)
{
    FixedText<8> text;
    text.append(std::string_view("a\0b", 3));
    EXPECT_EQ(text.size(), 3U);
    EXPECT_EQ(text.view(), std::string_view("a\0b", 3));
}

TEST(FixedTextTest, endsItsLineAlsoWhenItIsFull)
{
    FixedText<4> text;
    text.endLine();
    EXPECT_EQ(text.view(), "\n");
    text.endLine();
    EXPECT_EQ(text.view(), "\n");
    text.format("ab");
    text.endLine();
    EXPECT_EQ(text.view(), "ab\n");
    text.format("abc");
    text.endLine();
    EXPECT_EQ(text.view(), "ab\n");
    text.format("ab\r");
    text.endLine();
    EXPECT_EQ(text.view(), "ab\n");
}

// Messages

class Report : public testing::Test {
protected:
    template <class Print>
    std::string printed(Print print)
    {
        const std::size_t before = output_.size();
        {
            const CapturedOutput captured(output_);
            print();
            shown_ = output_.from(before);  // already there, although nobody has flushed anything
        }
        return shown_;
    }

    OutputFile output_;
    std::string shown_;
};

TEST_F(Report, givesAMessageItsLineEnd)
{
    EXPECT_EQ(printed([] { printOut("parameter number error!!!\r"); }), "parameter number error!!!\r\n");
    EXPECT_EQ(printed([] { printOut("a\r\n"); }), "a\r\n");
    EXPECT_EQ(printed([] { printError("%s %d", "b", 2); }), "b 2\n");
}

TEST_F(Report, cutsALongMessageButNotItsLineEnd)
{
    const std::string text(100'000, 'x');
    const std::string shown = printed([&] { printError("%s", text.c_str()); });
    EXPECT_EQ(shown.size(), kMessageCapacity - 1);
    EXPECT_TRUE(shown.ends_with("x\n"));
}

TEST_F(Report, namesASystemErrorAndKeepsIt)
{
    const std::string shown = printed([] {
        errno = ENOENT;
        reportSystemError("lpc_proxy_call");
        EXPECT_EQ(errno, ENOENT);
        errno = EIO;
        printError("between");
        EXPECT_EQ(errno, EIO);
    });
    EXPECT_EQ(shown, "lpc_proxy_call: No such file or directory\nbetween\n");
}

}  // namespace
