// JSON text as the tools write and read it, for bytes that no shell can type.
#include <gtest/gtest.h>
#include <string>

#include "support/jsonText.h"

namespace {

using namespace std::string_literals;

TEST(JsonText, EscapesAStringAsTheStoresDo)
{
    EXPECT_EQ(jsonString("a/b\"c\\\b\f\n\r\t\x1f\x7f\0é"s), "\"a/b\\\"c\\\\\\b\\f\\n\\r\\t\\u001f\x7f\\u0000é\"");
}

TEST(JsonText, WritesEveryByteOutsideOfUtf8AsALoneSurrogateAndReadsItBack)
{
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
        const std::string raw = "\"a"s + static_cast<char>(byte) + "b\"";
        const std::string shown = printableJson(raw);
        EXPECT_EQ(shown.substr(0, 6), "\"a\\udc");
        EXPECT_EQ(storableJson(shown), raw);
    }
}

TEST(JsonText, LeavesWholeUtf8SequencesAlone)
{
    for (const char* text : {"\u0080", "\u07ff", "\u0800", "\ud7ff", "\ue000", "\uffff", "\U00010000", "\U0010ffff"}) {
        EXPECT_EQ(printableJson(text), text);
    }
}

TEST(JsonText, RestoresOnlyTheEscapesThatStandForBytes)
{
    EXPECT_EQ(storableJson(R"("\udc80\uDCFF")"), "\"\x80\xff\"");
    for (const char* kept : {R"("\udc7f")", R"("\udd00")", R"("\ud800")", R"("\\udc80")", R"("\ud83d\udc80")",
                             R"("\ud83d\ud83d\udc80")", R"("\udc8")", R"("\u00ff")", R"("\)", R"("\ud83d\)"}) {
        EXPECT_EQ(storableJson(kept), kept);
    }
    EXPECT_EQ(storableJson(R"(\\\udc80)"), "\\\\\x80");
    EXPECT_EQ(storableJson(R"(\ud83d\udc80\udc80)"), "\\ud83d\\udc80\x80");
}

TEST(JsonText, KnowsJsonFromOtherText)
{
    for (const char* json : {"null", " true\n", "-0", "0.5", "1e5", "-1.25E-3", R"("")", R"("\u00e9\/")", "[]",
                             "[ 1 , [] ]", "{}", R"({"a":{"b":[1,"x",null]}})", "\"\xff\""}) {
        EXPECT_TRUE(isJson(json)) << json;
    }
    for (const char* other :
         {"",      " ",     "01",    "1.",       ".5",          "+1",      "--1",         "1e",   "0x10",
          "tru",   "truex", "nan",   "'a'",      "\"",          R"("\x")", R"("\u12g4")", "[1,]", "[,1]",
          "[1 2]", "[1",    "{a:1}", R"({"a"})", R"({"a":1,})", "1 2",     "{} x",        "// 1"}) {
        EXPECT_FALSE(isJson(other)) << other;
    }
    EXPECT_FALSE(isJson(std::string(100'000, '[')));
}

}  // namespace
