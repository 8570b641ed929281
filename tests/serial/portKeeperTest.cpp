// A serial device that goes away and comes back.
#include <cerrno>
#include <memory>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>

#include "serial/portKeeper.h"
#include "serial/uart.h"
#include "support/outputFile.h"
#include "support/pluggableLine.h"

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kInterval{1};

class PortKeeper : public testing::Test {
protected:
    PortSettings settings(const PluggableLine& line, int speed = 9600) const
    {
        return {line.path().c_str(), speed, 8, 1, 0};
    }

    void open(const PortSettings& settings)
    {
        const CapturedOutput captured(output_);
        openPort(record_, settings);
    }

    void lose(int error = 0)
    {
        const CapturedOutput captured(output_);
        losePort(record_, error);
    }

    std::shared_ptr<UartPort> keep()
    {
        const CapturedOutput captured(output_);
        return keepPort(record_);
    }

    std::shared_ptr<UartPort> keepWhenDue()
    {
        record_.nextTry = {};
        return keep();
    }

    std::string takePrinted() { return output_.from(std::exchange(taken_, output_.size())); }

    std::string failed(const PluggableLine& line) const
    {
        return "[uart_open2] open uart dev " + line.path() + " failed!\r\n";
    }
    std::string gone(const PluggableLine& line) const { return "serial device " + line.path() + " is gone: hang-up\n"; }
    std::string back(const PluggableLine& line) const { return "serial device " + line.path() + " is back\n"; }

    PluggableLine line_;
    PluggableLine other_;
    ConsoleParameter record_;
    OutputFile output_;
    std::size_t taken_ = 0;
};

TEST_F(PortKeeper, keepsAnOpenPortAsItIs)
{
    line_.plug();
    open(settings(line_));
    const auto port = record_.uart.hold();
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(keepWhenDue(), port);
    EXPECT_EQ(takePrinted(), "");
}

TEST_F(PortKeeper, hasNoPortBeforeOneWasAskedFor)
{
    EXPECT_EQ(keepWhenDue(), nullptr);
    EXPECT_EQ(takePrinted(), "");
}

TEST_F(PortKeeper, reportsALostPortOnceAndClosesIt)
{
    line_.plug();
    open(settings(line_));
    const std::weak_ptr<UartPort> port = record_.uart.hold();
    const int fd = port.lock()->fd;
    lose();
    EXPECT_TRUE(port.expired());
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(record_.uart.hold(), nullptr);
    EXPECT_EQ(takePrinted(), gone(line_));
}

TEST_F(PortKeeper, tellsTheErrorThatLostThePort)
{
    line_.plug();
    open(settings(line_));
    lose(EIO);
    EXPECT_EQ(takePrinted(), "serial device " + line_.path() + " is gone: Input/output error\n");
}

TEST_F(PortKeeper, leavesALostDeviceAloneForASecond)
{
    line_.plug();
    open(settings(line_));
    const auto before = steady_clock::now();
    lose();
    EXPECT_GE(record_.nextTry, before + kInterval);
    EXPECT_LE(record_.nextTry, steady_clock::now() + kInterval);
    record_.nextTry += std::chrono::hours(1);
    EXPECT_EQ(keep(), nullptr);  // though it is there
    EXPECT_NE(keepWhenDue(), nullptr);
}

TEST_F(PortKeeper, leavesADeviceThatWasMissingAtFirstAloneForASecond)
{
    const auto before = steady_clock::now();
    open(settings(line_));
    EXPECT_EQ(takePrinted(), failed(line_));
    EXPECT_GE(record_.nextTry, before + kInterval);
    EXPECT_LE(record_.nextTry, steady_clock::now() + kInterval);
}

TEST_F(PortKeeper, triesEverySecondWithoutAWord)
{
    PortSettings unfit = settings(line_);
    for (const char* path : {unfit.path, "/dev/null", "/"}) {
        unfit.path = path;
        open(unfit);
        takePrinted();
        for (int i = 0; i < 10; ++i) {
            const auto before = steady_clock::now();
            EXPECT_EQ(keepWhenDue(), nullptr);
            EXPECT_GE(record_.nextTry, before + kInterval);
        }
        EXPECT_EQ(takePrinted(), "") << path;
    }
}

TEST_F(PortKeeper, reportsOnceThatTheDeviceIsBack)
{
    line_.plug();
    open(settings(line_));
    for (int i = 0; i < 3; ++i) {
        lose();
        line_.unplug();
        EXPECT_EQ(keepWhenDue(), nullptr);
        line_.plug();
        const auto port = keepWhenDue();
        ASSERT_NE(port, nullptr);
        EXPECT_EQ(keepWhenDue(), port);
        EXPECT_EQ(takePrinted(), gone(line_) + back(line_));
    }
}

TEST_F(PortKeeper, reportsADeviceThatComesLate)
{
    open(settings(line_));
    EXPECT_EQ(keepWhenDue(), nullptr);
    line_.plug();
    EXPECT_NE(keepWhenDue(), nullptr);
    EXPECT_EQ(takePrinted(), failed(line_) + back(line_));
}

TEST_F(PortKeeper, opensAgainWithTheSettingsInForce)
{
    line_.plug();
    open(settings(line_, 19'200));
    lose();
    line_.unplug();
    PortSettings changed = settings(line_, 4'800);
    changed.stopBits = 2;
    open(changed);
    PseudoTerminal& terminal = line_.plug();
    ASSERT_NE(keepWhenDue(), nullptr);
    termios taken{};
    ASSERT_EQ(tcgetattr(terminal.deviceFd(), &taken), 0);
    EXPECT_EQ(cfgetospeed(&taken), static_cast<speed_t>(B4800));
    EXPECT_NE(taken.c_cflag & CSTOPB, 0U);
    EXPECT_EQ(takePrinted(), gone(line_) + failed(line_) + back(line_));
}

// New settings may find the device before its next try does.
TEST_F(PortKeeper, reportsADeviceThatNewSettingsFindBack)
{
    line_.plug();
    open(settings(line_));
    lose();
    open(settings(line_, 19'200));
    EXPECT_NE(record_.uart.hold(), nullptr);
    EXPECT_EQ(takePrinted(), gone(line_) + back(line_));
}

TEST_F(PortKeeper, triesTheDeviceThatWasTriedLast)
{
    line_.plug();
    open(settings(line_));
    open(settings(other_));
    EXPECT_EQ(keepWhenDue(), nullptr);  // the first one is there all the time
    other_.plug();
    EXPECT_NE(keepWhenDue(), nullptr);
    EXPECT_EQ(takePrinted(), failed(other_) + back(other_));
}

TEST_F(PortKeeper, callsNoOtherDeviceBack)
{
    other_.plug();
    open(settings(line_));
    open(settings(other_));
    EXPECT_NE(keepWhenDue(), nullptr);
    EXPECT_EQ(takePrinted(), failed(line_));
}

// A port that is being replaced is nobody's loss.
TEST_F(PortKeeper, triesNothingForAPortThatWasClosedOnPurpose)
{
    line_.plug();
    open(settings(line_));
    record_.uart.replace(nullptr);
    EXPECT_EQ(keepWhenDue(), nullptr);
    EXPECT_EQ(takePrinted(), "");
}

}  // namespace
