// What a transcript cannot show: the sender's results, and contents too long or too odd for a line of text.
#include "display/triggerSender.h"

#include <cstdio>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/outputFile.h"
#include "support/recordingPlatform.h"

namespace {

constexpr char kCommand[] = "control.displayControl.output1.triger.command";

class TriggerSenderTest : public testing::Test {
protected:
    TriggerSenderTest() { recording::reset(); }

    static void give(const std::string& leaf, const std::string& json)
    {
        recording::put(recording::Store::settings, std::string(kCommand) + "." + leaf, json);
    }

    static void giveOn(const std::string& content)
    {
        give("content.on", '"' + content + '"');
        give("content.feedbackOn", "\"B1\"");
        give("end.on", "\"CR\"");
        give("end.feedbackOn", "\"LF\"");
    }

    static void giveVolume(const std::string& content)
    {
        give("content.volumePlus", '"' + content + '"');
        give("end.volumePlus", "\"CR\"");
    }

    int send(const TriggerSender& sender, const char* action)
    {
        before_ = messages_.size();
        const CapturedOutput captured(messages_);
        return sendTrigger(sender, action);
    }

    // What the last send() printed.
    [[nodiscard]] std::string printed() const { return messages_.from(before_); }

    static std::vector<std::string> requests()
    {
        std::vector<std::string> texts;
        for (const recording::Call& call : recording::take().calls) {
            texts.push_back(call.params.value_or("(none)"));
        }
        return texts;
    }

private:
    OutputFile messages_;
    std::size_t before_ = 0;
};

using TriggerSenderResult = TriggerSenderTest;

TEST_F(TriggerSenderResult, IsOneWhenTheRequestWasTaken)
{
    giveOn("A1");
    EXPECT_EQ(send(serialPower, "TrigRS1 on"), 1);
    EXPECT_EQ(send(networkPower, "TrigIP1 on"), 1);
    giveVolume("UP");
    EXPECT_EQ(send(serialVolume, "vol+"), 1);
    EXPECT_EQ(send(networkVolume, "vol+"), 1);
    EXPECT_EQ(requests().size(), 4U);
}

TEST_F(TriggerSenderResult, IsOneWhenATextIsMissing)
{
    EXPECT_EQ(send(serialPower, "TrigRS1 on"), 1);
    EXPECT_EQ(send(serialVolume, "vol-"), 1);
    EXPECT_TRUE(requests().empty());
}

TEST_F(TriggerSenderResult, IsOneWhenThePathIsBusyEvenForAnUnknownAction)
{
    giveOn("A1");
    recording::put(recording::Store::status, "control.displayControl.output1.transmission.rs232", "true");
    EXPECT_EQ(send(serialPower, "TrigRS1 on"), 1);
    EXPECT_EQ(send(serialPower, "nonsense"), 1);
    EXPECT_TRUE(requests().empty());
}

TEST_F(TriggerSenderResult, IsAnotherNonZeroForAnUnknownAction)
{
    giveOn("A1");
    giveVolume("UP");
    for (const char* action : {"", "on", "TrigRS1 vol+", "TrigRS1 mute", "TrigIP1 on", "vol+"}) {
        EXPECT_NE(send(serialPower, action), 0) << action;
    }
    for (const char* action : {"", "TrigRS1 vol+", "volume", "VOL+", "vol", "mute"}) {
        EXPECT_NE(send(serialVolume, action), 0) << action;
    }
    EXPECT_NE(send(networkPower, "TrigRS1 on"), 0);
    EXPECT_TRUE(requests().empty());
}

TEST_F(TriggerSenderResult, IsZeroWhenARequestFailed)
{
    giveOn("A1 2c A2");
    giveVolume("UP,DOWN");
    recording::fail(recording::Fault::call);
    for (const char* waits : {"false", "true"}) {
        give("commandWait", waits);
        EXPECT_EQ(send(serialPower, "TrigRS1 on"), 0) << waits;
        EXPECT_EQ(send(networkPower, "TrigIP1 on"), 0) << waits;
        EXPECT_EQ(send(serialVolume, "vol+"), 0) << waits;
        EXPECT_EQ(send(networkVolume, "vol+"), 0) << waits;
    }
}

using TriggerMessages = TriggerSenderTest;

TEST_F(TriggerMessages, TellTheBusyFlagOfTheSerialPathAlone)
{
    giveOn("A1");
    giveVolume("UP");
    for (const TriggerSender* sender : {&serialPower, &serialVolume}) {
        send(*sender, "nonsense");
        const std::string message = printed();
        EXPECT_TRUE(message.starts_with("\033[1;31;32m[getDisplayControlStatus][")) << message;
        EXPECT_TRUE(message.ends_with("] displayControlStatus=0 \033[0m \r\n")) << message;
    }
    recording::put(recording::Store::status, "control.displayControl.output1.transmission.rs232", "true");
    send(serialPower, "TrigRS1 on");
    EXPECT_TRUE(printed().ends_with("] displayControlStatus=1 \033[0m \r\n")) << printed();
    send(networkPower, "TrigIP1 on");
    EXPECT_EQ(printed(), "");
    send(networkVolume, "vol+");
    EXPECT_EQ(printed(), "");
}

TEST_F(TriggerMessages, ReportAFailedRequestUnlessItWasAWholePowerCommand)
{
    giveOn("A1 2c A2");
    giveVolume("UP,DOWN");
    recording::fail(recording::Fault::call);
    const std::string failure = "lpc_proxy_call: Input/output error\n";
    for (const bool waits : {false, true}) {
        give("commandWait", waits ? "true" : "false");
        send(networkPower, "TrigIP1 on");
        EXPECT_EQ(printed(), waits ? failure : "");
        send(serialPower, "TrigRS1 on");
        EXPECT_EQ(printed().ends_with("\n" + failure), waits) << printed();
        send(networkVolume, "vol+");
        EXPECT_EQ(printed(), failure);
    }
}

TEST_F(TriggerMessages, ObeyTheLogLevels)
{
    giveOn("A1");
    recording::fail(recording::Fault::call);
    recording::fail(recording::Fault::statusUpdate);
    recording::setLogLevel(6, true);
    send(networkPower, "TrigIP1 on");
    const auto logs = recording::take().logs;
    ASSERT_EQ(logs.size(), 2U);
    EXPECT_EQ(logs[0].level, 6);
    EXPECT_EQ(logs[0].text, " *************C. displayControlStatus off\r\n");
    EXPECT_EQ(logs[1].level, 5);
    EXPECT_EQ(logs[1].text, "1 user_config_update");
    recording::setLogLevel(5, false);
    recording::setLogLevel(6, false);
    send(networkPower, "TrigIP1 on");
    EXPECT_TRUE(recording::take().logs.empty());
}

using TriggerContents = TriggerSenderTest;

TEST_F(TriggerContents, AThousandSeparatorsAreAThousandPauses)
{
    give("commandWait", "true");
    std::string content;
    for (int i = 0; i < 1'000; ++i) {
        content += "2c ";
    }
    giveOn(content + "A1");
    EXPECT_EQ(send(serialPower, "TrigRS1 on"), 1);
    giveVolume(std::string(1'000, ',') + "UP");
    EXPECT_EQ(send(serialVolume, "vol+"), 1);
    const auto texts = requests();
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_EQ(texts[0], "{\"displayControl\":{\"fiveSecDelay\":1000 ,\"fbVerify\":0 ,\"sendcount\":1 ,\"sendData\":"
                        "\"A1 0D\",\"fbData\":\"B1 0A\",\"fbEndNone\":0,\"leadingFlag\":1,\"writeNull\":0,"
                        "\"readNull\":0}}");
    EXPECT_EQ(texts[1], "{\"displayControl\":{\"fiveSecDelay\":1000 ,\"fbVerify\":0 ,\"sendcount\":1 ,\"sendData\":"
                        "\"UP\r\",\"fbData\":\"\",\"fbEndNone\":0,\"leadingFlag\":1,\"writeNull\":0,\"readNull\":0}}");
}

TEST_F(TriggerContents, AThousandPiecesAreAThousandRequests)
{
    give("commandWait", "true");
    std::string content;
    for (int i = 0; i < 1'000; ++i) {
        content += i == 0 ? "A1" : " 2c A1";
    }
    giveOn(content);
    EXPECT_EQ(send(serialPower, "TrigRS1 on"), 1);
    EXPECT_EQ(requests().size(), 1'000U);
}

// Whatever is stored, every request fits the path's buffer and is whole: it begins and ends as the format does.
TEST_F(TriggerContents, NoContentIsTooOddToBeBounded)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<std::size_t> anyLength(0, 400);
    constexpr std::string_view kLikely = "  ,,2c2c 2c A1,{}:%sn%d";
    std::uniform_int_distribution<std::size_t> anyLikely(0, kLikely.size() - 1);
    std::uniform_int_distribution<int> anyByte(1, 255);
    for (int round = 0; round < 2'000; ++round) {
        std::string json;
        for (std::size_t left = anyLength(random); left > 0; --left) {
            if (round % 2 == 0) {
                json += kLikely[anyLikely(random)];
            } else {
                char escape[8];
                std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(anyByte(random)));
                json += escape;
            }
        }
        giveOn(json);
        giveVolume(json);
        give("commandWait", round % 3 == 0 ? "false" : "true");
        send(serialPower, "TrigRS1 on");
        send(networkPower, "TrigIP1 on");
        send(serialVolume, "vol+");
        send(networkVolume, "vol+");
        for (const recording::Call& call : recording::take().calls) {
            ASSERT_TRUE(call.params);
            ASSERT_EQ(call.params->rfind("{\"displayControl\":{\"fiveSecDelay\":", 0), 0U);
            ASSERT_TRUE(call.params->ends_with("\"writeNull\":0,\"readNull\":0}}"));
            ASSERT_LT(call.params->size(), 1'024U);
            if (call.service == "displayControlTelnetClient") {
                ASSERT_LT(call.params->size(), 256U);
            }
        }
    }
}

}  // namespace
