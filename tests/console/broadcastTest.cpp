// The change broadcast: which fragments pass its gate, and what it asks for.
#include <gtest/gtest.h>

#include "console/broadcast.h"
#include "support/consoleRecord.h"
#include "support/recordingPlatform.h"

namespace {

constexpr char kBroadcastFragment[] = R"({"system":{"broadcast":%s})";

class Broadcast : public testing::Test {
protected:
    Broadcast()
    {
        recording::reset();
        recording::put(recording::Store::settings, "system.broadcast", "true");
        recording::put(recording::Store::status, "system.slaveMcu.isReady", "true");
    }

    std::string printed(const char* fragment, const ReportValue& value)
    {
        EXPECT_EQ(cipProcJson(fragment, value), 0);
        return console_.takeReplies();
    }

    ConsoleRecord console_;
};

TEST_F(Broadcast, reportsAChangeOfItsOwnSetting)
{
    EXPECT_EQ(printed(kBroadcastFragment, ReportValue::boolean(true)), "Broadcast on\r\n");
    EXPECT_EQ(printed(kBroadcastFragment, ReportValue::boolean(false)), "Broadcast off\r\n");
}

TEST_F(Broadcast, doesNotLookAtTheValueOfItsSetting)
{
    recording::put(recording::Store::settings, "system.broadcast", "false");
    EXPECT_EQ(printed(kBroadcastFragment, ReportValue::boolean(true)), "Broadcast on\r\n");
}

TEST_F(Broadcast, needsItsSettingToBeReadable)
{
    recording::failQuery("system.broadcast");
    EXPECT_EQ(printed(kBroadcastFragment, ReportValue::boolean(true)), "");
}

TEST_F(Broadcast, needsASlaveControllerThatIsReady)
{
    recording::put(recording::Store::status, "system.slaveMcu.isReady", "false");
    EXPECT_EQ(printed(kBroadcastFragment, ReportValue::boolean(true)), "");
    recording::put(recording::Store::status, "system.slaveMcu.isReady", "\"true\"");
    EXPECT_EQ(printed(kBroadcastFragment, ReportValue::boolean(true)), "");
    recording::put(recording::Store::status, "system.slaveMcu.isReady", "true");
    recording::failQuery("system.slaveMcu.isReady", 1);
    EXPECT_EQ(printed(kBroadcastFragment, ReportValue::boolean(true)), "");
    EXPECT_EQ(printed(kBroadcastFragment, ReportValue::boolean(true)), "Broadcast on\r\n");
}

TEST_F(Broadcast, asksBothStoresForEveryFragment)
{
    printed(R"({"control":{"ledMode":%s})", ReportValue::boolean(true));
    const recording::Record record = recording::take();
    ASSERT_EQ(record.queries.size(), 2U);
    EXPECT_EQ(record.queries[0].path, "system.broadcast");
    EXPECT_EQ(record.queries[1].path, "system.slaveMcu.isReady");
}

TEST_F(Broadcast, letsNoOtherSettingPass)
{
    for (const char* fragment : {R"({"control":{"ledMode":%s})", R"({"system":{"inputBroadcast":%s})",
                                 R"({"system":{"broadcast":%d})", R"({"audio":{"audOut":{"allMute":%s})"}) {
        EXPECT_EQ(printed(fragment, ReportValue::boolean(true)), "") << fragment;
        EXPECT_TRUE(recording::take().logs.empty()) << fragment;
    }
}

// The gate asks whether the fragment is a part of the template: a shorter one is, and then the first row that holds it
// too is reported.
TEST_F(Broadcast, reportsTheFirstRowThatHoldsAFragmentOfItsTemplate)
{
    EXPECT_EQ(printed(R"({"system":{)", ReportValue::integer(5)), "Type 5\r\n");
    EXPECT_EQ(printed(R"("broadcast":%s)", ReportValue::boolean(true)), "Broadcast on\r\n");
}

}  // namespace
