// "UartReset" opens the board's console device. The daemon runs in a mount name space in which that name is a
// pseudo-terminal of the test's own, or is missing.
#include <filesystem>

#include <termios.h>

#include <gtest/gtest.h>

#include "peers/instance.h"
#include "peers/ownDevices.h"
#include "peers/timesIn.h"

namespace {

constexpr const char* kSettings = R"({"baudrate":4800,"databit":7,"parity":1,"stopbit":2})";

class UartReset : public testing::TestWithParam<InstanceRole> {};

void withSettings(const std::function<void(TestDevice&)>& body)
{
    onADevice([&](TestDevice& device) {
        device.put(local::Store::settings, "system.uart.interface1", kSettings);
        body(device);
    });
}

// Those of interface 1, as far as a pseudo-terminal keeps them.
void expectStoredSettings(const PseudoTerminal& board)
{
    termios settings{};
    ASSERT_EQ(::tcgetattr(board.deviceFd(), &settings), 0);
    EXPECT_EQ(::cfgetospeed(&settings), static_cast<speed_t>(B4800));
    EXPECT_EQ(settings.c_cflag & CSTOPB, static_cast<tcflag_t>(CSTOPB));
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(OfBothRoles, UartReset, testing::Values(InstanceRole::external, InstanceRole::internal),
                         [](const auto& role) {
                             return role.param == InstanceRole::internal ? "internal" : "external";
                         });

TEST_P(UartReset, servesTheBoardsDeviceFromThenOn)
{
    withSettings([](TestDevice& device) {
        PseudoTerminal board;
        Instance instance(device, GetParam(), withOwnDevices(device.directory() + "-dev", board.device()));
        instance.line().type("Nope\r");
        instance.line().takeOutputWith("Command FAILED: (Nope)\r\n");

        callMethod(instance.service(), "UartReset", "now");
        EXPECT_EQ(timesIn(instance.output(), "[UartReset]params=now\r\n"), 1U) << instance.output();
        EXPECT_EQ(timesIn(instance.output(), "failed!"), 0U) << instance.output();
        board.type("Nope on the board\r");
        board.takeOutputWith("Command FAILED: (Nope on the board)\r\n");
        EXPECT_EQ(instance.line().takeOutput(), "");
        expectStoredSettings(board);

        // A second one changes nothing.
        callMethod(instance.service(), "UartReset", nullptr);
        EXPECT_EQ(timesIn(instance.output(), "[UartReset]params=(null)\r\n"), 1U) << instance.output();
        board.type("Nope\r");
        board.takeOutputWith("Command FAILED: (Nope)\r\n");
    });
}

TEST_P(UartReset, keepsTheInstancesOwnDeviceForTheNextChange)
{
    withSettings([](TestDevice& device) {
        PseudoTerminal board;
        Instance instance(device, GetParam(), withOwnDevices(device.directory() + "-dev", board.device()));
        callMethod(instance.service(), "UartReset", "");
        const bool internal = GetParam() == InstanceRole::internal;
        publishEvent("systemUserConfigChanged", internal ? R"({"system":{"uart":{"interface3":{"baudrate":300}}}})"
                                                         : R"({"system":{"uart":{"interface1":{"baudrate":300}}}})");
        instance.passListener();
        const std::string opening =
            "uart_open2(" + instance.line().device() + (internal ? ",300,8,1,0,0)\r\n" : ",300,7,2,1,0)\r\n");
        EXPECT_EQ(timesIn(instance.output(), opening), 1U) << instance.output();
        instance.line().type("Nope\r");
        instance.line().takeOutputWith("Command FAILED: (Nope)\r\n");
        EXPECT_EQ(board.takeOutput(), "");
    });
}

TEST_P(UartReset, leavesNoPortWhenTheBoardHasNone)
{
    withSettings([](TestDevice& device) {
        Instance instance(device, GetParam(), withOwnDevices(device.directory() + "-dev", ""));
        callMethod(instance.service(), "UartReset", "now");
        EXPECT_EQ(timesIn(instance.output(), "[uart_open2] open uart dev /dev/ttyS6 failed!\r\n"), 1U)
            << instance.output();
        callMethod(instance.service(), "UartReset", "again");
        EXPECT_EQ(timesIn(instance.output(), "[uart_open2] open uart dev /dev/ttyS6 failed!\r\n"), 2U)
            << instance.output();
        const bool internal = GetParam() == InstanceRole::internal;
        callMethod(instance.service(), internal ? "RS232zone" : "wpDispBtn", "Nope");
        EXPECT_EQ(timesIn(instance.errors(), "write: Bad file descriptor\n"), 1U) << instance.errors();
        EXPECT_EQ(instance.line().takeOutput(), "");
        // The next change opens the instance's own device again.
        publishEvent("systemUserConfigChanged", internal ? R"({"system":{"uart":{"interface3":{"baudrate":300}}}})"
                                                         : R"({"system":{"uart":{"interface1":{"baudrate":300}}}})");
        instance.passListener();
        instance.line().type("Nope\r");
        instance.line().takeOutputWith("Command FAILED: (Nope)\r\n");
    });
}

// Its own device is there all the time; the board's, tried last, comes later.
TEST_P(UartReset, isTriedAgainUntilTheBoardHasTheDevice)
{
    withSettings([](TestDevice& device) {
        PseudoTerminal board;
        Instance instance(device, GetParam(), withOwnDevices(device.directory() + "-dev", ""));
        callMethod(instance.service(), "UartReset", "now");
        const std::filesystem::path place =
            std::filesystem::path("/proc") / std::to_string(instance.process().pid()) / "root" / "dev/ttyS6";
        std::filesystem::create_symlink(board.device(), place);
        instance.waitForErrors("serial device /dev/ttyS6 is back\n");
        board.type("Nope on the board\r");
        board.takeOutputWith("Command FAILED: (Nope on the board)\r\n");
        EXPECT_EQ(instance.line().takeOutput(), "");
        expectStoredSettings(board);
        EXPECT_EQ(timesIn(instance.output(), "failed!"), 1U) << instance.output();
        EXPECT_EQ(timesIn(instance.errors(), "serial device "), 1U) << instance.errors();
    });
}
