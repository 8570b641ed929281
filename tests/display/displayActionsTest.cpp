// What a transcript cannot show: the handlers' results, and calls on behalf of an event, which the console never makes.
#include "display/displayActions.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/lpc.h"
#include "platform/store.h"
#include "platform/support/jsonTemplate.h"
#include "support/capturedReplies.h"
#include "support/recordingPlatform.h"

namespace {

// What was called and stored, in order; see the link options.
std::vector<std::string> g_steps;

}  // namespace

extern "C" {
int __real_lpc_proxy_call(const char* service, const char* method, const char* params);
int __wrap_lpc_proxy_call(const char* service, const char* method, const char* params)
{
    g_steps.push_back(std::string("call ") + service + " " + method + " " + params);
    return __real_lpc_proxy_call(service, method, params);
}

int __real_user_config_update(const char* document);
int __wrap_user_config_update(const char* document)
{
    g_steps.push_back(std::string("store ") + document);
    return __real_user_config_update(document);
}
}

namespace {

constexpr char kPower[] = "control.displayControl.output1.buttonControl.power";
constexpr char kControlType[] = "control.displayControl.output1.controlType";
constexpr int kConsole = 0;
constexpr int kEvent = 1;
constexpr int kOther = 2;

class DisplayActions : public testing::Test {
protected:
    DisplayActions()
    {
        recording::reset();
        g_steps.clear();
    }

    static void give(const char* path, const std::string& text)
    {
        recording::put(recording::Store::settings, path, '"' + text + '"');
    }

    int press(const std::string& word, int fromEvent)
    {
        const CapturedOutput captured(messages_);
        const std::string line = "DispBtn " + word;
        return displayButtonCommand(line.c_str(), "DispBtn", line.c_str() + 8, fromEvent, "");
    }

    int triggerCec(const std::string& word, int fromEvent)
    {
        const CapturedOutput captured(messages_);
        const std::string line = "TrigCEC1 " + word;
        return cecTriggerCommand(line.c_str(), "TrigCEC1", line.c_str() + 9, fromEvent,
                                 textLeaf<"control.displayControl.output1.triger.cec">);
    }

    // "TOPIC PAYLOAD" of what was published since the last call, the store's own announcements left out.
    static std::vector<std::string> published()
    {
        std::vector<std::string> texts;
        for (const recording::Event& event : recording::take().events) {
            if (event.from == "publisher") {
                texts.push_back(event.topic + " " + event.payload.value_or("(none)"));
            }
        }
        return texts;
    }

    std::string replies() { return replies_.take(); }

private:
    CapturedReplies replies_;
    OutputFile messages_;
};

using Texts = std::vector<std::string>;

TEST_F(DisplayActions, OnBehalfOfAnEventAPressIsAnnouncedTwiceAndNotAnswered)
{
    for (const std::string word : {"on", "off", "tog", "vol+"}) {
        SCOPED_TRACE(word);
        give(kPower, "standby");
        give(kControlType, "none");
        EXPECT_EQ(press(word, kEvent), 1);
        EXPECT_EQ(published(), (Texts{"CommandFeedback DispBtn " + word, "CommandFeedback DispBtn " + word}));
        EXPECT_EQ(replies(), "");
    }
}

TEST_F(DisplayActions, AnotherQuietPressIsAnnouncedOnceAndNotAnswered)
{
    give(kPower, "standby");
    EXPECT_EQ(press("on", kOther), 1);
    EXPECT_EQ(published(), Texts{"CommandFeedback DispBtn on"});
    EXPECT_EQ(replies(), "");
}

TEST_F(DisplayActions, AnUnchangedPowerIsAnnouncedOnceWhoeverPresses)
{
    for (const int fromEvent : {kConsole, kEvent, kOther}) {
        SCOPED_TRACE(fromEvent);
        give(kPower, "off");
        EXPECT_EQ(press("off", fromEvent), 1);
        const Texts events = published();
        ASSERT_EQ(events.size(), fromEvent == kEvent ? 3U : 2U);
        EXPECT_EQ(events[0],
                  "controlUserConfigChanged "
                  "{\"control\":{\"displayControl\":{\"output1\":{\"buttonControl\":{\"power\":\"off\"}}}}}");
    }
}

TEST_F(DisplayActions, StaAndRefusalsAnswerAlsoWhenQuiet)
{
    give(kPower, "on");
    EXPECT_EQ(press("sta", kEvent), 1);
    EXPECT_EQ(replies(), "DispBtn on\r\n");
    EXPECT_EQ(press("nonsense", kEvent), 1);
    EXPECT_EQ(replies(), "Command FAILED: (DispBtn nonsense)\r\n");
    EXPECT_EQ(published(), Texts{});
}

TEST_F(DisplayActions, AQuietMuteIsSentButNotAnswered)
{
    give(kControlType, "cec");
    EXPECT_EQ(press("mute", kOther), 1);
    const auto record = recording::take();
    ASSERT_EQ(record.calls.size(), 1U);
    EXPECT_EQ(record.calls[0].service, "intermcud");
    EXPECT_EQ(record.calls[0].params, "mute");
    EXPECT_EQ(replies(), "");
}

TEST_F(DisplayActions, APressThatCannotBeAnnouncedEndsAtOnce)
{
    give(kPower, "standby");
    give(kControlType, "cec");
    for (const std::string word : {"on", "off", "tog", "mute", "vol+", "vol-"}) {
        SCOPED_TRACE(word);
        for (const int fromEvent : {kConsole, kEvent}) {
            recording::fail(recording::Fault::publish, 1);
            EXPECT_EQ(press(word, fromEvent), 255);
            EXPECT_EQ(replies(), "");
            const auto record = recording::take();
            EXPECT_TRUE(record.calls.empty());
            ASSERT_EQ(record.logs.size(), 1U);
            EXPECT_EQ(record.logs[0].level, 4);
            EXPECT_EQ(record.logs[0].text, "eventbus_publish(UserConfigFeedback error!)");
            give(kPower, "standby");
        }
    }
}

TEST_F(DisplayActions, WithoutAControlTypeMuteFailsAfterItsAnswer)
{
    EXPECT_EQ(press("mute", kConsole), 255);
    EXPECT_EQ(replies(),
              "DispBtn {\"control\":{\"displayControl\":{\"output1\":{\"buttonControl\":{\"power\":\"\"}}}}}\r\n");
    EXPECT_EQ(press("mute", kEvent), 255);
    EXPECT_EQ(replies(), "");
}

TEST_F(DisplayActions, AToggleCallsTheMicrocontrollerBeforeItStores)
{
    give(kControlType, "cec");
    give(kPower, "on");
    press("tog", kConsole);
    EXPECT_EQ(g_steps,
              (Texts{"call intermcud TrigCEC off",
                     R"(store {"control":{"displayControl":{"output1":{"buttonControl":{"power":"off"}}}}})"}));
}

TEST_F(DisplayActions, FailuresAreLoggedOnlyAtTheirLevel)
{
    recording::setLogLevel(4, false);
    recording::setLogLevel(5, false);
    recording::fail(recording::Fault::update);
    EXPECT_EQ(press("on", kConsole), 1);
    EXPECT_EQ(press("mute", kConsole), 255);
    recording::fail(recording::Fault::publish);
    EXPECT_EQ(press("on", kConsole), 255);
    EXPECT_TRUE(recording::take().logs.empty());
}

TEST_F(DisplayActions, AQuietCecTriggerIsAnnouncedOnceAndNotAnswered)
{
    for (const int fromEvent : {kEvent, kOther}) {
        EXPECT_EQ(triggerCec("vol-", fromEvent), 1);
        EXPECT_EQ(published(),
                  Texts{"controlUserConfigChanged "
                        "{\"control\":{\"displayControl\":{\"output1\":{\"triger\":{\"cec\":\"vol-\"}}}}}"});
        EXPECT_EQ(replies(), "");
    }
}

TEST_F(DisplayActions, ACecTriggerAlwaysReturnsOne)
{
    recording::fail(recording::Fault::call);
    recording::fail(recording::Fault::publish);
    EXPECT_EQ(triggerCec("on", kConsole), 1);
    EXPECT_EQ(replies(), "TrigCEC1 on\r\n");
    EXPECT_EQ(triggerCec("tog", kEvent), 1);
    EXPECT_EQ(replies(), "Command FAILED: (TrigCEC1 tog)\r\n");
}

}  // namespace
