// The running loop: bursts, quiet gaps, signals, floods, and what goes away under it.
#include <cerrno>
#include <csignal>
#include <regex>

#include "endToEnd/daemonTest.h"

namespace {

using std::chrono::steady_clock;

constexpr char kBurstTopic[] = "recvHDBTSendTo9001";

class Loop : public DaemonTest {
protected:
    Loop() { device_.startPeers(); }

    std::vector<std::string> bursts()
    {
        std::vector<std::string> texts;
        for (const local::Event& event : device_.takeEvents()) {
            if (event.topic == kBurstTopic) {
                texts.push_back(event.payload.value_or("none"));
            }
        }
        return texts;
    }

    // Types bytes and waits until the quiet gap behind them has been seen.
    static void typeBurst(Console& console, const std::string& bytes)
    {
        const std::size_t from = console.log().size();
        console.line().type(bytes);
        console.waitForPrinted("totalLenFor900X=", from);
        console.passLoop();
    }

    // Types what takes a while and returns what came up to the end of the reply `until`. A machine so busy that this
    // test does not get to typing for three seconds, or to reading for two, does not count.
    static std::string answerInOneGo(Console& console, const std::string& typed, const std::string& until)
    {
        constexpr int kTries = 5;
        for (int tries = 1;; ++tries) {
            const std::size_t from = console.log().size();
            std::string came;
            std::string failure;
            try {
                came = console.answer(typed, until);
            } catch (const std::exception& error) {
                failure = error.what();
            }
            const bool late =
                console.log().holds("] free!", from) || console.log().holds("write: Connection timed out", from);
            if (!late || tries == kTries) {
                EXPECT_EQ(failure, "");
                return came;
            }
            console.line().type("\r");
            console.passLoop();
            console.line().takeOutput();
        }
    }
};

// Tests in which a pause of seconds is under test.
class SlowLoop : public Loop {
protected:
    // How much of a processor it uses while nothing happens.
    static double loadOfARest(Console& console)
    {
        const auto start = steady_clock::now();
        const auto before = console.process().cpuTime();
        std::this_thread::sleep_for(std::chrono::seconds(1));  // the rest is under test
        const auto used = console.process().cpuTime() - before;
        return std::chrono::duration<double>(used) / std::chrono::duration<double>(steady_clock::now() - start);
    }
};

using Strings = std::vector<std::string>;

// Bursts

TEST_F(Loop, takesBytesThatArriveTogetherForOneBurst)
{
    Console link(device_, kInternal);
    typeBurst(link, "AB");
    device_.waitForEvent(kBurstTopic, " 41 42");
    EXPECT_EQ(bursts(), Strings{" 41 42"});
}

TEST_F(Loop, takesBytesWithAPauseBetweenThemForTwoBursts)
{
    Console link(device_, kInternal);
    typeBurst(link, "A");
    typeBurst(link, "B");
    device_.waitForEvent(kBurstTopic, " 42");
    EXPECT_EQ(bursts(), (Strings{" 41", " 42"}));
}

TEST_F(Loop, forwardsEveryByteOfABurst)
{
    Console link(device_, kInternal);
    typeBurst(link, std::string("a\0\r\n\xff\x80 ", 7));
    device_.waitForEvent(kBurstTopic, " 61 00 0D 0A FF 80 20");
}

TEST_F(Loop, forwardsWholePairsOfALongBurstAlone)
{
    Console link(device_, kInternal);
    // The kernel hands over at most 1,792 bytes in one piece; behind them a busy machine may make a pause.
    for (const std::size_t length : {340U, 341U, 342U, 1'000U, 1'700U}) {
        typeBurst(link, std::string(length, 'A'));
        std::string hex;
        for (std::size_t i = 0; i < std::min<std::size_t>(length, 341); ++i) {
            hex += " 41";
        }
        device_.waitForEvent(kBurstTopic, hex);
        EXPECT_EQ(bursts(), Strings{hex}) << length;
    }
}

TEST_F(Loop, forwardsNoBurstOfTheConsole)
{
    Console console(device_, kExternal);
    typeBurst(console, "AB\r");
    typeBurst(console, "C");
    EXPECT_EQ(publishEvent("marker", "x"), 0);
    device_.waitForEvent("marker", "x");
    EXPECT_EQ(bursts(), Strings{});
    EXPECT_TRUE(console.log().holds("strcmd900XPort=AB", 0));
    EXPECT_TRUE(console.log().holds("totalLenFor900X=3", 0));
}

TEST_F(Loop, reportsABurstThatCannotBePublished)
{
    Console link(device_, kInternal);
    device_.stopBus();
    link.line().type("A");
    link.waitForPrinted("publishEvent(recvHDBTSendTo9001 SYSTEM_CMD_REQ_DEFAULT!): ");
    EXPECT_TRUE(link.process().running());
}

// Partial lines

TEST_F(SlowLoop, dropsAPartialLineAfter101QuietGaps)
{
    Console console(device_, kExternal);
    const auto start = steady_clock::now();
    console.line().type("Blink st");
    console.waitForPrinted("] free!");
    EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(101 * 30));
    EXPECT_EQ(console.answer("a\r", "\n"), "Command FAILED: (a)\r\n");
    // A terminator that comes too late ends an empty line, the next one is whole.
    const std::size_t from = console.log().size();
    console.line().type("Blink sta");
    console.waitForPrinted("] free!", from);
    EXPECT_EQ(console.answer("\rnonsense\r", "\n"), "Command FAILED: (nonsense)\r\n");
}

TEST_F(SlowLoop, handsAPartialLineOverWhenItsEndComesInTime)
{
    Console console(device_, kExternal);
    // A machine so busy that the second takes three does not count.
    waitFor("a second that takes less than three", [&] {
        const std::size_t from = console.log().size();
        console.line().type("non");
        std::this_thread::sleep_for(std::chrono::seconds(1));  // the pause is under test
        const std::string reply = console.answer("sense\r", "\n");
        if (console.log().holds("] free!", from)) {
            return false;
        }
        EXPECT_EQ(reply, "Command FAILED: (nonsense)\r\n");
        return true;
    });
}

TEST_F(SlowLoop, countsQuietGapsInARowOnly)
{
    Console console(device_, kExternal);
    waitFor("calls less than three seconds apart", [&] {
        const std::size_t from = console.log().size();
        console.line().type("non");
        for (int i = 0; i < 8; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(500));  // the pause is under test
            console.passLoop();
        }
        const std::string reply = console.answer("sense\r", "\n");
        if (console.log().holds("] free!", from)) {
            return false;
        }
        EXPECT_EQ(reply, "Command FAILED: (nonsense)\r\n");
        return true;
    });
}

TEST_F(Loop, dropsAPartialLineWhenTheLinkChanges)
{
    Console console(device_, kExternal);
    typeBurst(console, "Blink st");
    EXPECT_EQ(publishEvent("networkStatusConfigChanged", R"({"network":{"valens":{"linkStatus":true}}})"), 0);
    console.waitForPrinted("g_valensLinkStatus=1");
    // The gap behind these bytes comes after the change; the first of them may be dropped with the line.
    const std::size_t from = console.log().size();
    constexpr std::chrono::milliseconds kFewGaps{100};
    waitFor("a quiet gap", [&] {
        console.line().type("z");
        return becomesTrue([&] { return console.log().holds("totalLenFor900X=", from); }, kFewGaps);
    });
    const std::string reply = console.answer("a\r", "\n");
    EXPECT_TRUE(std::regex_match(reply, std::regex("Command FAILED: \\(z*a\\)\r\n"))) << reply;
}

// Long lines and floods

TEST_F(Loop, keepsTheBeginningOfALineOf100000BytesAndTheNextLineWhole)
{
    Console console(device_, kExternal);
    const std::string reply = answerInOneGo(console, std::string(100'000, 'x') + "\rnonsense\r", "(nonsense)\r\n");
    EXPECT_EQ(reply, "Command FAILED: (" + std::string(9'999, 'x') + ")\r\nCommand FAILED: (nonsense)\r\n");
}

TEST_F(Loop, answersEveryLineOfAFlood)
{
    constexpr int kLines = 3'000;
    Console console(device_, kExternal);
    std::string typed;
    std::string expected;
    for (int i = 0; i < kLines; ++i) {
        typed += "nonsense " + std::to_string(i) + "\r";
        expected += "Command FAILED: (nonsense " + std::to_string(i) + ")\r\n";
    }
    EXPECT_EQ(answerInOneGo(console, typed, "nonsense " + std::to_string(kLines - 1) + ")\r\n"), expected);
}

// A far end that sends and never reads: the daemon must not stop at it.
TEST_F(SlowLoop, outlivesAFarEndThatDoesNotRead)
{
    Console console(device_, kExternal);
    const std::string line = std::string(5'000, 'q') + "\r";
    const std::size_t from = console.log().size();
    for (int i = 0; i < 40 && !console.log().holds("write: ", from); ++i) {
        ASSERT_GT(::write(console.line().fd(), line.data(), line.size()), 0);
        console.passLoop();
    }
    EXPECT_TRUE(console.log().holds("write: ", from));
    EXPECT_EQ(callMethod(kExternalService, "wpDispBtn", "RS232zone"), 0);
    console.line().takeOutput();
    EXPECT_NE(console.answer("\rnonsense\r", "(nonsense)\r\n").find("Command FAILED: (nonsense)\r\n"),
              std::string::npos);
}

// Signals and losses

TEST_F(Loop, destroysItsServiceAtAnInterruptAndLivesOn)
{
    Console console(device_, kExternal);
    EXPECT_EQ(console.answer("nonsense\r", "\n"), "Command FAILED: (nonsense)\r\n");
    console.process().signal(SIGINT);
    console.waitForPrinted("[cleanExit] excute lpc_service_destroy(gService)\r\n");
    EXPECT_TRUE(becomesTrue([] { return callMethod(kExternalService, "wpDispBtn", "RS232zone") != 0; }));
    EXPECT_EQ(console.answer("still there\r", "\n"), "Command FAILED: (still there)\r\n");
    // Again: there is no service any more to destroy.
    const std::size_t from = console.log().size();
    console.process().signal(SIGINT);
    EXPECT_EQ(console.answer("and now\r", "\n"), "Command FAILED: (and now)\r\n");
    EXPECT_FALSE(console.log().holds("cleanExit", from));
}

TEST_F(SlowLoop, waitsQuietlyWithoutItsService)
{
    Console console(device_, kExternal);
    console.process().signal(SIGINT);
    console.waitForPrinted("lpc_service_destroy(gService)");
    const std::size_t printed = console.log().size();
    EXPECT_LT(loadOfARest(console), 0.2);
    EXPECT_FALSE(console.log().holds("select success!", printed));
}

TEST_F(Loop, isFreeForANewServiceOfTheNameAfterAnInterrupt)
{
    Console first(device_, kExternal);
    first.process().signal(SIGINT);
    first.waitForPrinted("lpc_service_destroy(gService)");  // it says so first
    waitFor("the name to be free", [] { return callMethod(kExternalService, "wpDispBtn", "RS232zone") != 0; });
    Console second(device_, kExternal);
    EXPECT_EQ(second.answer("nonsense\r", "\n"), "Command FAILED: (nonsense)\r\n");
    EXPECT_EQ(first.answer("nonsense\r", "\n"), "Command FAILED: (nonsense)\r\n");
}

TEST_F(Loop, endsAtATermination)
{
    Console console(device_, kExternal);
    console.process().signal(SIGTERM);
    EXPECT_EQ(console.process().wait(), 128 + SIGTERM);
}

TEST_F(SlowLoop, goesOnQuietlyWhenTheBusGoesAway)
{
    Console console(device_, kExternal);
    device_.stopBus();
    console.waitForPrinted("eventbus_on_data_available: ");
    console.waitForPrinted("lpc_service_on_connect");
    EXPECT_EQ(console.answer("nonsense\r", "\n"), "Command FAILED: (nonsense)\r\n");
    const std::size_t printed = console.log().size();
    EXPECT_LT(loadOfARest(console), 0.3);
    EXPECT_FALSE(console.log().holds("lpc_service_on_connect", printed));
    EXPECT_FALSE(console.log().holds("eventbus_on_data_available", printed));
}

TEST_F(SlowLoop, outlivesASerialDeviceThatHangsUp)
{
    Console console(device_, kExternal);
    console.line().hangUp();
    console.waitForPrinted("is gone");
    EXPECT_EQ(callMethod(kExternalService, "wpDispBtn", "RS232zone"), 0);
    EXPECT_LT(loadOfARest(console), 0.3);
}

// Two instances

TEST_F(Loop, runsBothRolesSideBySideOnOneDevice)
{
    Console external(device_, kExternal);
    Console internal(device_, kInternal);
    EXPECT_EQ(external.answer("Blink on\r", "\n"), "Blink on\r\n");
    EXPECT_EQ(internal.answer("Blink sta\r", "\n"), "Blink on\r\n");
    EXPECT_EQ(internal.answer("Blink off\r", "\n"), "Blink off\r\n");
    EXPECT_EQ(external.answer("Blink sta\r", "\n"), "Blink off\r\n");
    EXPECT_EQ(external.line().takeOutput(), "");
    EXPECT_EQ(internal.line().takeOutput(), "");
}

TEST_F(Loop, losesNoCommandOfEitherRoleWhenBothWriteAtOnce)
{
    constexpr int kRounds = 50;
    Console external(device_, kExternal);
    Console internal(device_, kInternal);
    const auto type = [](Console& console, const char* command) {
        std::string expected;
        for (int i = 0; i < kRounds; ++i) {
            const std::string line = std::string(command) + (i % 2 == 0 ? " on" : " off");
            EXPECT_EQ(console.answer(line + "\r", "\n"), line + "\r\n");
        }
    };
    std::thread other([&] { type(internal, "AutoSW"); });
    type(external, "Blink");
    other.join();
    EXPECT_EQ(aside([] { return TestDevice::read(local::Store::settings, "control.ledMode"); }), "false");
    EXPECT_EQ(aside([] { return TestDevice::read(local::Store::settings, "control.autoSwitch.autoSWEnable"); }),
              "false");
}

// A reply implies that the setting is on the disk.
TEST_F(Loop, keepsWhatWasRepliedWhenItIsKilled)
{
    for (int i = 0; i < 5; ++i) {
        Console console(device_, kExternal);
        const std::string word = i % 2 == 0 ? "on" : "off";
        EXPECT_EQ(console.answer("VOUTMute " + word + "\r", "\n"), "VOUTMute " + word + "\r\n");
        console.process().signal(SIGKILL);
        console.process().wait();
        EXPECT_EQ(aside([] { return TestDevice::read(local::Store::settings, "audio.audOut.allMute"); }),
                  i % 2 == 0 ? "true" : "false");
    }
}

}  // namespace
