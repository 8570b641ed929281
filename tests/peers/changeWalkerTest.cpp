// The change walker's notices, letter for letter: this program has a change broadcast of its own that writes them down.
#include "core/changeWalker.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "console/broadcast.h"
#include "platform/support/ownership.h"

namespace {

std::vector<std::string> g_notices;

}  // namespace

int cipProcJson(const char* fragment, const ReportValue& value)
{
    g_notices.push_back(std::string(fragment) + " = " +
                        (value.isText() ? '"' + std::string(value.text()) + '"' : std::to_string(value.number())));
    return 0;
}

namespace {

using Notices = std::vector<std::string>;

Notices walked(const std::string& json, const char* prefix = "system", bool top = true)
{
    const JsonToken document(json_token_parse(json.c_str()));
    g_notices.clear();
    walkChange(document.get(), prefix, top);
    return g_notices;
}

// {"k":{"k":...VALUE...}}, `levels` objects deep.
std::string nested(std::size_t levels, const std::string& value)
{
    std::string json;
    for (std::size_t level = 0; level < levels; ++level) {
        json += "{\"k\":";
    }
    return json + value + std::string(levels, '}');
}

}  // namespace

TEST(ChangeWalker, closesOneBraceBehindANumberHoweverDeepItStands)
{
    EXPECT_EQ(walked(R"({"system":{"uart":{"interface1":{"baudrate":9600}}}})"),
              Notices{R"({"system":{"uart":{"interface1":{"baudrate":%d} = 9600)"});
    EXPECT_EQ(walked(R"({"system":{"port":-23}})"), Notices{R"({"system":{"port":%d} = -23)"});
}

TEST(ChangeWalker, closesOneBraceBehindABoolean)
{
    EXPECT_EQ(walked(R"({"system":{"broadcast":true}})"), Notices{R"({"system":{"broadcast":%s} = 1)"});
    EXPECT_EQ(walked(R"({"audio":{"audOut":{"allMute":false}}})"), Notices{R"({"audio":{"audOut":{"allMute":%s} = 0)"});
}

TEST(ChangeWalker, closesNoBraceBehindAText)
{
    EXPECT_EQ(walked(R"({"system":{"model":"X \"1\" %d"}})"), Notices{R"({"system":{"model":"%s" = "X "1" %d")"});
    EXPECT_EQ(walked(R"({"video":{"in":{"name":""}}})"), Notices{R"({"video":{"in":{"name":"%s" = "")"});
}

TEST(ChangeWalker, passesOverDoublesNullsAndArrays)
{
    EXPECT_EQ(walked(R"({"system":{"a":1.5,"b":null,"c":[1,true,"x",{"d":1}],"e":{},"f":2}})"),
              Notices{R"({"system":{"f":%d} = 2)"});
    EXPECT_EQ(walked("{}"), Notices{});
}

TEST(ChangeWalker, followsTheOrderOfTheDocumentAndReturnsToItsPrefix)
{
    const Notices expected{
        R"({"b":{"y":{"z":%d} = 1)", R"({"b":{"x":%s} = 1)",    R"({"b":{"w":{"v":"%s" = "t")",
        R"({"b":{"u":%d} = 2)",      R"({"a":{"only":%s} = 0)",
    };
    EXPECT_EQ(walked(R"({"b":{"y":{"z":1},"x":true,"w":{"v":"t"},"u":2},"a":{"only":false}})"), expected);
}

TEST(ChangeWalker, dropsThePrefixAtTheFirstObjectOnly)
{
    EXPECT_EQ(walked(R"({"a":{"b":1}})", "area", true), Notices{R"({"a":{"b":%d} = 1)"});
    EXPECT_EQ(walked(R"({"a":{"b":1}})", R"({"area":)", false), Notices{R"({"area":{"a":{"b":%d} = 1)"});
    // A leaf right at the top stands behind the prefix as it was given.
    const Notices expected{R"(area{"a":%d} = 1)", R"(area{"b":"%s" = "t")", R"(area{"c":%s} = 1)"};
    EXPECT_EQ(walked(R"({"a":1,"b":"t","c":true})", "area", true), expected);
}

TEST(ChangeWalker, namesADocumentThatIsNoObjectByThePrefixAlone)
{
    EXPECT_EQ(walked("true", "control"), Notices{R"({"control":%s} = 1)"});
    EXPECT_EQ(walked("7", "control"), Notices{R"({"control":%d} = 7)"});
    EXPECT_EQ(walked(R"("t")", "control"), Notices{R"({"control":%s} = "t")"});
    EXPECT_EQ(walked("1.5", "control"), Notices{});
    EXPECT_EQ(walked(R"([{"a":1}])", "control"), Notices{});
}

TEST(ChangeWalker, takesNoKeyForAFormat)
{
    EXPECT_EQ(walked(R"({"%s%n":{"%d":1}})"), Notices{R"({"%s%n":{"%d":%d} = 1)"});
}

TEST(ChangeWalker, keepsKeysAndTextsThatAreNoUtf8)
{
    EXPECT_EQ(walked("{\"a\":{\"\xff\xfe\":\"\x80\"}}"), Notices{"{\"a\":{\"\xff\xfe\":\"%s\" = \"\x80\""});
}

TEST(ChangeWalker, cutsANoticeThatWouldBeTooLong)
{
    constexpr std::size_t kLongest = 511;
    const std::string key(1'000'000, 'k');
    const std::string whole = R"({"system":{")" + key;
    EXPECT_EQ(walked(R"({"system":{")" + key + R"(":1,"b":2}})"),
              (Notices{whole.substr(0, kLongest) + " = 1", R"({"system":{"b":%d} = 2)"}));
    // A prefix that fills the notice leaves no room for what is below it.
    EXPECT_EQ(walked(R"({")" + key + R"(":{"a":1}})"), (Notices{(R"({")" + key).substr(0, kLongest) + " = 1"}));
}

TEST(ChangeWalker, walksAsDeepAsADocumentCanBeParsed)
{
    constexpr std::size_t kDeepest = 31;
    std::string fragment;
    for (std::size_t level = 0; level < kDeepest; ++level) {
        fragment += "{\"k\":";
    }
    EXPECT_EQ(walked(nested(kDeepest, "1")), Notices{fragment + "%d} = 1"});
    EXPECT_EQ(JsonToken(json_token_parse(nested(1'000, "1").c_str())), nullptr);
}

TEST(ChangeWalker, bringsIntegersIntoTheRangeOfAnInt)
{
    EXPECT_EQ(walked(R"({"a":{"b":99999999999}})"), Notices{R"({"a":{"b":%d} = 2147483647)"});
    EXPECT_EQ(walked(R"({"a":{"b":-99999999999}})"), Notices{R"({"a":{"b":%d} = -2147483648)"});
}
