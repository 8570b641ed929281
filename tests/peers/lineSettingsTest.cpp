// Changes of the serial line's settings, made by whom ever, reopen the port exactly as often as something changed.
#include <array>
#include <ostream>

#include <gtest/gtest.h>

#include "peers/consoleUnderTest.h"
#include "peers/timesIn.h"

using transcript::Observed;

namespace {

constexpr const char* kTopic = "systemUserConfigChanged";

struct Role {
    bool internal;
    const char* interface;             // whose settings it follows
    const char* handler;               // as it names itself
    std::array<const char*, 4> words;  // for speed, data bits, parity, stop bits in messages
    int speed;                         // at the start, with 8 data bits, no parity, one stop bit
};

[[maybe_unused]] void PrintTo(const Role& role, std::ostream* out)
{
    *out << role.interface;
}

constexpr Role kExternal{false,
                         "interface1",
                         "[uartBuadrateChange][",
                         {"intergerFromJson", "intergerDatalen", "intergerParity", "intergerStop"},
                         9'600};
constexpr Role kInternal{true,
                         "interface3",
                         "[uartBuadrateChange_hdbt][",
                         {"intergerBaudRate", "intergerDatalen", "intergerParity", "intergerStop"},
                         115'200};

std::string lineDocument(const std::string& interface, const std::string& members)
{
    return R"({"system":{"uart":{")" + interface + "\":{" + members + "}}}}";
}

// "a,b,c,d" of a port's opening: speed, data bits, stop bits, parity.
std::string opening(int speed, int dataBits, int stopBits, int parity)
{
    return "," + std::to_string(speed) + "," + std::to_string(dataBits) + "," + std::to_string(stopBits) + "," +
           std::to_string(parity) + ",0)\r\n";
}

class LineSettings : public testing::TestWithParam<Role> {
protected:
    static void begin(ConsoleUnderTest& console)
    {
        console.givenSetting("system.uart.interface1", R"({"baudrate":9600,"databit":8,"parity":0,"stopbit":1})");
        console.givenSetting("system.uart.interface3", R"({"baudrate":4800,"databit":7,"parity":1,"stopbit":2})");
        console.start();
    }

    static void expectKept(const Observed& seen)
    {
        EXPECT_EQ(timesIn(seen.printed, "Value Change!"), 0U) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "uart_close2()"), 0U) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "uart_open2("), 0U) << seen.printed;
    }

    static void expectReopened(const Observed& seen, std::size_t changes, const std::string& settings)
    {
        EXPECT_EQ(timesIn(seen.printed, "Value Change!"), changes) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "uart_close2()\r\n"), 1U) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "uart_open2("), 1U) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, settings), 1U) << settings << " in " << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "uart NULL"), 0U) << seen.printed;
    }

    static void expectAnswering(ConsoleUnderTest& console)
    {
        EXPECT_EQ(console.type("Nope\r").replies, "Command FAILED: (Nope)\r\n");
    }

    static void expectChange(const Observed& seen, const char* word, int value)
    {
        const std::string line = std::string("Value Change! ") + word + "=" + std::to_string(value) + "\r\n";
        EXPECT_EQ(timesIn(seen.printed, line), 1U) << line << " in " << seen.printed;
    }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(OfBothRoles, LineSettings, testing::Values(kExternal, kInternal),
                         [](const auto& role) { return role.param.internal ? "internal" : "external"; });

TEST_P(LineSettings, thatChangeReopenThePortOnceEach)
{
    const Role& role = GetParam();
    play(role.internal, [&](ConsoleUnderTest& console) {
        begin(console);
        struct Change {
            const char* member;
            int value;
            std::string settings;
        };
        const Change changes[] = {
            {"\"baudrate\":19200", 19'200, opening(19'200, 8, 1, 0)},
            {"\"databit\":7", 7, opening(19'200, 7, 1, 0)},
            {"\"parity\":2", 2, opening(19'200, 7, 1, 2)},
            {"\"stopbit\":2", 2, opening(19'200, 7, 2, 2)},
        };
        for (std::size_t i = 0; i < std::size(changes); ++i) {
            const std::string document = lineDocument(role.interface, changes[i].member);
            const Observed seen = console.publish(kTopic, document);
            expectReopened(seen, 1, changes[i].settings);
            expectChange(seen, role.words[i], changes[i].value);
            EXPECT_EQ(timesIn(seen.printed, role.handler), role.internal ? 4U : 2U) << seen.printed;
            EXPECT_EQ(timesIn(seen.printed, role.internal ? "pConsoleParameterA->sourceType=5\x1b[0m\n"
                                                          : "pConsoleParameterA->sourceType=2\x1b[0m\n"),
                      1U);
            EXPECT_EQ(timesIn(seen.printed, "params=" + document + "\x1b[0m\n"), 1U) << seen.printed;
            expectKept(console.publish(kTopic, document));
            expectAnswering(console);
        }
    });
}

TEST_P(LineSettings, thatChangeTogetherReopenThePortOnce)
{
    const Role& role = GetParam();
    play(role.internal, [&](ConsoleUnderTest& console) {
        begin(console);
        const std::string document =
            lineDocument(role.interface, R"("baudrate":38400,"databit":7,"parity":1,"stopbit":2)");
        const Observed seen = console.publish(kTopic, document);
        expectReopened(seen, 4, opening(38'400, 7, 2, 1));
        expectChange(seen, role.words[0], 38'400);
        expectChange(seen, role.words[1], 7);
        expectChange(seen, role.words[2], 1);
        expectChange(seen, role.words[3], 2);
        expectKept(console.publish(kTopic, document));
        expectAnswering(console);
    });
}

TEST_P(LineSettings, thatAreInForceAlreadyKeepThePort)
{
    const Role& role = GetParam();
    play(role.internal, [&](ConsoleUnderTest& console) {
        begin(console);
        const std::string speed = std::to_string(role.speed);
        expectKept(console.publish(
            kTopic, lineDocument(role.interface, "\"baudrate\":" + speed + R"(,"databit":8,"parity":0,"stopbit":1)")));
        // Of several only what differs is a change.
        const Observed seen =
            console.publish(kTopic, lineDocument(role.interface, "\"baudrate\":" + speed + ",\"stopbit\":2"));
        expectReopened(seen, 1, opening(role.speed, 8, 2, 0));
        expectChange(seen, role.words[3], 2);
    });
}

TEST_P(LineSettings, thatStandElsewhereKeepThePort)
{
    const Role& role = GetParam();
    play(role.internal, [&](ConsoleUnderTest& console) {
        begin(console);
        for (const char* other : {"interface1", "interface2", "interface3", "interface4"}) {
            if (std::string(other) != role.interface) {
                expectKept(console.publish(
                    kTopic, lineDocument(other, R"("baudrate":300,"databit":5,"parity":1,"stopbit":2)")));
            }
        }
        expectKept(console.publish(kTopic, lineDocument(role.interface, "\"flow\":1")));
        expectKept(console.publish(kTopic, lineDocument(role.interface, "")));
        expectKept(console.publish(kTopic, R"({"system":{"model":"X"}})"));
        expectKept(console.publish(kTopic, R"({"system":{"uart":7}})"));
        expectKept(console.publish(kTopic, "true"));
        expectKept(console.publish("networkUserConfigChanged", lineDocument(role.interface, "\"baudrate\":300")));
        expectKept(console.publish("systemStatusConfigChanged", lineDocument(role.interface, "\"baudrate\":300")));
        expectAnswering(console);
    });
}

TEST_P(LineSettings, ofAnotherTypeAreTakenForNinetyNine)
{
    const Role& role = GetParam();
    play(role.internal, [&](ConsoleUnderTest& console) {
        begin(console);
        const Observed seen = console.publish(kTopic, lineDocument(role.interface, "\"databit\":\"7\""));
        expectReopened(seen, 1, opening(role.speed, 99, 1, 0));
        expectChange(seen, role.words[1], 99);
        for (const char* value : {"7.5", "true", "[7]", "{\"bits\":7}", "99", "99999999999"}) {
            expectKept(console.publish(kTopic, lineDocument(role.interface, std::string("\"databit\":") + value)));
        }
        // Nothing at all is no value.
        expectKept(console.publish(kTopic, lineDocument(role.interface, "\"parity\":null")));
        expectReopened(console.publish(kTopic, lineDocument(role.interface, "\"databit\":8")), 1,
                       opening(role.speed, 8, 1, 0));
        expectAnswering(console);
    });
}

TEST_P(LineSettings, areLeftAloneWithoutAPayload)
{
    const Role& role = GetParam();
    play(role.internal, [&](ConsoleUnderTest& console) {
        begin(console);
        console.givenSetting("system.uart", "{\"" + std::string(role.interface) + R"(":{"baudrate":300}})");
        const Observed seen = console.publish(kTopic, std::nullopt);
        expectKept(seen);
        EXPECT_EQ(timesIn(seen.printed, "Warnning! ctx==NULL || params==NULL!\r\n"), 1U) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "] params=(null)\x1b[0m\n"), 1U) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "remoteIP="), 0U) << seen.printed;
        expectKept(console.publish(kTopic, "nonsense"));
        expectAnswering(console);
    });
}

TEST(LinkSettings, areLeftAloneOnceTheFarEndIsIdentifiedOrAboutToBe)
{
    play(true, [](ConsoleUnderTest& console) {
        console.start();
        int speed = 300;
        const auto change = [&] {
            speed = speed == 300 ? 600 : 300;
            return console.publish(kTopic, lineDocument("interface3", "\"baudrate\":" + std::to_string(speed)));
        };
        const auto reopened = [](const Observed& seen) { return timesIn(seen.printed, "uart_open2("); };

        Observed seen = change();
        EXPECT_EQ(reopened(seen), 1U) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "] remoteIP=\x1b[0m\n"), 1U) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "] strlen(remoteIP)=0\x1b[0m\n"), 1U) << seen.printed;
        console.givenStatus("control.wpHsk.remoteIpSettings.ipaddr", "\"10.0.0.17\"");
        for (const char* settled : {"\"idle\"", "\"success\""}) {
            console.givenStatus("control.wpHsk.identifyStatus", settled);
            seen = change();
            EXPECT_EQ(reopened(seen), 0U) << seen.printed;
            EXPECT_EQ(timesIn(seen.printed, "Value Change!"), 0U) << seen.printed;
            EXPECT_EQ(timesIn(seen.printed, "] remoteIP=10.0.0.17\x1b[0m\n"), 1U) << seen.printed;
            EXPECT_EQ(timesIn(seen.printed, "] strlen(remoteIP)=9\x1b[0m\n"), 1U) << seen.printed;
        }
        for (const char* open : {"\"fail\"", "\"Idle\"", "\"\"", "7"}) {
            console.givenStatus("control.wpHsk.identifyStatus", open);
            change();
            seen = change();
            EXPECT_EQ(reopened(seen), 1U) << open << seen.printed;
        }
    });
}

TEST(ConsoleSettings, doNotAskForTheFarEnd)
{
    play(false, [](ConsoleUnderTest& console) {
        console.givenStatus("control.wpHsk.identifyStatus", "\"success\"");
        console.start();
        const Observed seen = console.publish(kTopic, lineDocument("interface1", "\"baudrate\":300"));
        EXPECT_EQ(timesIn(seen.printed, "uart_open2("), 1U) << seen.printed;
        EXPECT_EQ(timesIn(seen.printed, "remoteIP"), 0U) << seen.printed;
    });
}

TEST(ConsoleSettings, missingAtTheStartAreNinetyNine)
{
    play(false, [](ConsoleUnderTest& console) {
        console.start();
        // One that is present and 99 is therefore no change.
        const Observed kept = console.publish(
            kTopic, lineDocument("interface1", R"("baudrate":99,"databit":99,"parity":99,"stopbit":99)"));
        EXPECT_EQ(timesIn(kept.printed, "uart_open2("), 0U) << kept.printed;
        const Observed seen = console.publish(kTopic, lineDocument("interface1", "\"baudrate\":9600"));
        EXPECT_EQ(timesIn(seen.printed, opening(9'600, 99, 99, 99)), 1U) << seen.printed;
    });
}

// The command only writes: the store's announcement reopens the port.
TEST(ConsoleSettings, setByACommandReopenThePortExactlyOnce)
{
    play(false, [](ConsoleUnderTest& console) {
        console.givenSetting("system.uart.interface1", R"({"baudrate":115200,"databit":8,"parity":0,"stopbit":1})");
        console.start();
        const Observed changed = console.type("CSpara [9600,8,0,1]\r");
        EXPECT_EQ(changed.replies, "CSpara [9600,8,0,1]\r\n");
        ASSERT_EQ(changed.events.size(), 1U);
        EXPECT_EQ(changed.events[0].from, "settings");
        EXPECT_EQ(changed.events[0].payload, lineDocument("interface1", "\"baudrate\":9600"));
        EXPECT_EQ(timesIn(changed.printed, "uart_close2()"), 1U) << changed.printed;
        EXPECT_EQ(timesIn(changed.printed, "uart_open2("), 1U) << changed.printed;
        EXPECT_EQ(timesIn(changed.printed, opening(9'600, 8, 1, 0)), 1U) << changed.printed;
        // The same again is announced by the command, and nothing differs.
        const Observed same = console.type("CSpara [9600,8,0,1]\r");
        EXPECT_EQ(same.replies, "CSpara [9600,8,0,1]\r\n");
        ASSERT_EQ(same.events.size(), 1U);
        EXPECT_EQ(same.events[0].from, "publisher");
        EXPECT_EQ(timesIn(same.printed, "uart_open2("), 0U) << same.printed;
        EXPECT_EQ(console.type("Nope\r").replies, "Command FAILED: (Nope)\r\n");
    });
}

TEST(LinkSettings, setByAMethodAreComparedWithLaterChanges)
{
    play(true, [](ConsoleUnderTest& console) {
        console.givenSetting("system.uart.interface3", R"({"baudrate":19200,"databit":8,"parity":0,"stopbit":1})");
        console.givenSetting("system.uart.interface2", R"({"stopbit":2})");
        console.start();
        const Observed set = console.call("HDBTRS232Set", "user");
        EXPECT_EQ(timesIn(set.printed, ",19200,8,0,2,0)\r\n"), 1U) << set.printed;
        const Observed same = console.publish(
            kTopic, lineDocument("interface3", R"("baudrate":19200,"databit":8,"parity":0,"stopbit":2)"));
        EXPECT_EQ(timesIn(same.printed, "uart_open2("), 0U) << same.printed;
        const Observed other = console.publish(kTopic, lineDocument("interface3", "\"stopbit\":1"));
        EXPECT_EQ(timesIn(other.printed, opening(19'200, 8, 1, 0)), 1U) << other.printed;
        const Observed back = console.call("HDBTRS232Set", "default");
        EXPECT_EQ(timesIn(back.printed, ",115200,8,0,1,0)\r\n"), 1U) << back.printed;
        EXPECT_EQ(console.call("RS232zone", "x").replies, "x");
    });
}
