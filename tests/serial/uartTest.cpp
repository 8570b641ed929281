// The serial port driver on a pseudo-terminal.
#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "serial/uart.h"
#include "support/outputFile.h"
#include "support/pseudoTerminal.h"

namespace {

#ifndef CBAUDEX
constexpr tcflag_t CBAUDEX = 0010000;
#endif

class Uart : public testing::Test {
protected:
    std::shared_ptr<UartPort> open(int speed, int dataBits = 8, int stopBits = 1, int parity = 0, int flow = kFlowNone)
    {
        const CapturedOutput captured(output_);
        return uart_open2(line_.device().c_str(), speed, dataBits, stopBits, parity, flow);
    }

    termios settings() const
    {
        termios taken{};
        EXPECT_EQ(tcgetattr(line_.deviceFd(), &taken), 0);
        return taken;
    }

    PseudoTerminal line_;
    OutputFile output_;
};

TEST_F(Uart, opensALineRaw)
{
    const auto port = open(9600);
    ASSERT_NE(port, nullptr);
    const termios taken = settings();
    EXPECT_EQ(taken.c_iflag, static_cast<tcflag_t>(IGNPAR | INPCK));
    EXPECT_EQ(taken.c_oflag, 0U);
    EXPECT_EQ(taken.c_lflag, 0U);
    EXPECT_EQ(taken.c_cc[VMIN], 1);
    EXPECT_EQ(taken.c_cc[VTIME], 0);
    EXPECT_EQ(taken.c_cflag & (CREAD | CLOCAL | CRTSCTS | HUPCL), static_cast<tcflag_t>(CREAD | CLOCAL));
    EXPECT_EQ(port->flowMode, kFlowNone);
    EXPECT_EQ(port->held, 0);
    EXPECT_EQ(port->holdCount, 0);
    EXPECT_EQ(output_.from(0), "");
}

TEST_F(Uart, keepsTheSettingsItFound)
{
    const termios before = settings();
    const auto port = open(9600);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->saved.c_iflag, before.c_iflag);
    EXPECT_EQ(port->saved.c_lflag, before.c_lflag);
    EXPECT_EQ(port->saved.c_cflag, before.c_cflag);
}

TEST_F(Uart, setsEveryStandardSpeed)
{
    const struct {
        int speed;
        speed_t code;
    } kSpeeds[] = {{50, B50},       {75, B75},         {110, B110},      {134, B134},     {150, B150},
                   {200, B200},     {300, B300},       {600, B600},      {1200, B1200},   {1800, B1800},
                   {2400, B2400},   {4800, B4800},     {9600, B9600},    {19200, B19200}, {38400, B38400},
                   {57600, B57600}, {115200, B115200}, {230400, B230400}};
    for (const auto& [speed, code] : kSpeeds) {
        ASSERT_NE(open(speed), nullptr) << speed;
        const termios taken = settings();
        EXPECT_EQ(cfgetospeed(&taken), code) << speed;
        EXPECT_EQ(cfgetispeed(&taken), code) << speed;
    }
    EXPECT_EQ(output_.from(0), "");
}

TEST_F(Uart, setsNoSpeedBitsForSpeed0)
{
    const auto port = open(0);
    ASSERT_NE(port, nullptr);
    const termios taken = settings();
    EXPECT_EQ(cfgetospeed(&taken), static_cast<speed_t>(B0));
}

TEST_F(Uart, setsCustomSpeedsThroughTheDriver)
{
    for (const int speed : {3600, 7200, 14400, 28800}) {
        const std::size_t before = output_.size();
        ASSERT_NE(open(speed), nullptr);
        EXPECT_EQ(output_.from(before),
                  "[uart_custom_baudrate] setup up new baud rate to " + std::to_string(speed) + "\r\n");
        // The C library knows no such speed: the kernel's own structure tells (ioctl_tty(2), asm-generic/termbits.h).
        struct {
            tcflag_t flags[4];
            cc_t line;
            cc_t characters[19];
            speed_t in;
            speed_t out;
        } raw{};
        constexpr unsigned long kGetTermios2 = _IOR('T', 0x2A, raw);
        ASSERT_EQ(ioctl(line_.deviceFd(), kGetTermios2, &raw), 0);
        EXPECT_EQ(raw.out, static_cast<speed_t>(speed));
        EXPECT_EQ(raw.in, static_cast<speed_t>(speed));
    }
}

TEST_F(Uart, fallsBackTo9600ForAnyOtherSpeed)
{
    for (const int speed : {12345, -1, 1, 99, 9601, 256000, 1 << 30}) {
        ASSERT_NE(open(115200), nullptr);
        ASSERT_NE(open(speed), nullptr) << speed;
        const termios taken = settings();
        EXPECT_EQ(cfgetospeed(&taken), static_cast<speed_t>(B9600)) << speed;
    }
    EXPECT_EQ(output_.from(0), "");
}

TEST_F(Uart, setsTwoStopBitsForTwoAlone)
{
    for (const int stopBits : {-1, 0, 1, 2, 3}) {
        ASSERT_NE(open(9600, 8, stopBits), nullptr);
        EXPECT_EQ((settings().c_cflag & CSTOPB) != 0, stopBits == 2) << stopBits;
    }
}

// A pseudo-terminal keeps eight bits and no parity whatever is asked; asking must not lose the port.
TEST_F(Uart, opensALineThatKeepsNeitherSizeNorParity)
{
    for (const int dataBits : {4, 5, 6, 7, 8, 9}) {
        for (const int parity : {0, 1, 2, 99}) {
            EXPECT_NE(open(9600, dataBits, 1, parity), nullptr) << dataBits << " " << parity;
        }
    }
    EXPECT_EQ(output_.from(0), "");
}

TEST_F(Uart, remembersHardwareAndSoftwareFlowControlAlone)
{
    EXPECT_EQ(open(9600, 8, 1, 0, kFlowHardware)->flowMode, kFlowHardware);
    EXPECT_NE(settings().c_cflag & CRTSCTS, 0U);
    EXPECT_EQ(open(9600, 8, 1, 0, kFlowSoftware)->flowMode, kFlowSoftware);
    EXPECT_EQ(settings().c_cflag & CRTSCTS, 0U);
    EXPECT_NE(settings().c_cflag & HUPCL, 0U);
    EXPECT_EQ(open(9600, 8, 1, 0, 3)->flowMode, kFlowNone);
    EXPECT_EQ(open(9600, 8, 1, 0, -1)->flowMode, kFlowNone);
}

TEST_F(Uart, dropsInputThatWaited)
{
    const auto first = open(9600);
    line_.type("stale");
    const auto second = open(9600);
    EXPECT_TRUE(line_.allRead());
    line_.type("fresh");
    char bytes[16];
    EXPECT_FALSE(line_.allRead());
    EXPECT_EQ(::read(second->fd, bytes, sizeof bytes), 5);
}

TEST_F(Uart, reportsADeviceThatIsMissing)
{
    const CapturedOutput captured(output_);
    EXPECT_EQ(uart_open2("/nonexistent/tty", 9600, 8, 1, 0, kFlowNone), nullptr);
    EXPECT_EQ(output_.from(0), "[uart_open2] open uart dev /nonexistent/tty failed!\r\n");
}

TEST_F(Uart, reportsAFileThatIsNoTerminal)
{
    const CapturedOutput captured(output_);
    EXPECT_EQ(uart_open2("/dev/null", 9600, 8, 1, 0, kFlowNone), nullptr);
    EXPECT_EQ(output_.from(0), "[uart_open2] tcgetattr() failed!\r\n");
}

TEST_F(Uart, leavesNoDescriptorBehind)
{
    const int before = ::dup(0);
    ::close(before);
    for (int i = 0; i < 20; ++i) {
        auto port = open(9600);
        ASSERT_NE(port, nullptr);
        uart_close2(std::move(port));
        const CapturedOutput captured(output_);
        uart_open2("/dev/null", 9600, 8, 1, 0, kFlowNone);
    }
    const int after = ::dup(0);
    ::close(after);
    EXPECT_EQ(after, before);
}

TEST_F(Uart, doesNotBecomeTheControllingTerminal)
{
    const auto port = open(9600);
    EXPECT_NE(::fcntl(port->fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(::tcgetsid(port->fd), -1);
}

TEST(CustomSpeed, refusesANegativeDescriptor)
{
    EXPECT_EQ(uart_custom_baudrate(-1, 28800), 0);
}

TEST(CustomSpeed, countsAsDoneThoughTheDriverRefuses)
{
    testing::internal::CaptureStdout();
    UniqueFd file(::open("/dev/null", O_RDWR | O_CLOEXEC));
    EXPECT_EQ(uart_custom_baudrate(file.get(), 28800), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[uart_custom_baudrate] setup up new baud rate to 28800\r\n");
}

TEST_F(Uart, reportsALineWithoutRs485)
{
    const auto port = open(9600);
    const CapturedOutput captured(output_);
    EXPECT_EQ(uartRs485Switch(port->fd, true), 0);
    EXPECT_EQ(uartRs485Switch(port->fd, false), 0);
    EXPECT_EQ(output_.from(0), "ioctl TIOCGRS485 error.\nioctl TIOCGRS485 error.\n");
}

TEST_F(Uart, opensByTheOlderRoutineAt19200)
{
    const auto port = uart_open(line_.device().c_str(), kFlowNone);
    ASSERT_NE(port, nullptr);
    const termios taken = settings();
    EXPECT_EQ(taken.c_cflag & (CBAUD | CSIZE | CREAD | CLOCAL | CSTOPB),
              static_cast<tcflag_t>(B19200 | CS8 | CREAD | CLOCAL));
    EXPECT_EQ(taken.c_iflag, static_cast<tcflag_t>(IGNPAR));
    EXPECT_EQ(taken.c_lflag, 0U);
}

TEST(OlderOpenDeathTest, endsTheProcessWithoutADevice)
{
    EXPECT_EXIT(uart_open("/nonexistent/tty", kFlowNone), testing::ExitedWithCode(1),
                "/nonexistent/tty: No such file or directory");
}

// XON/XOFF: the far end is the other end of a socket pair.
class FlowControl : public testing::Test {
protected:
    FlowControl()
    {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
        port_.fd = ends[0];
        port_.flowMode = kFlowSoftware;
        farEnd_.reset(ends[1]);
    }

    void fromFarEnd(const std::string& bytes)
    {
        EXPECT_EQ(::write(farEnd_.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        char buffer[4096];
        EXPECT_EQ(uartReadFlow(port_, buffer, sizeof buffer), static_cast<ssize_t>(bytes.size()));
        EXPECT_EQ(std::string(buffer, bytes.size()), bytes);
    }

    std::string atFarEnd() const
    {
        char buffer[8192];
        const ssize_t count = ::read(farEnd_.get(), buffer, sizeof buffer);
        return {buffer, count > 0 ? static_cast<std::size_t>(count) : 0};
    }

    ssize_t write(const std::string& bytes)
    {
        return uartWriteHeld(port_, bytes.data(), static_cast<int>(bytes.size()));
    }

    UartPort port_;
    UniqueFd farEnd_;
};

constexpr char kXon[] = "\x11";
constexpr char kXoff[] = "\x13";

TEST_F(FlowControl, writesAtOnceUnlessHeld)
{
    EXPECT_EQ(write("abc"), 3);
    EXPECT_EQ(atFarEnd(), "abc");
}

TEST_F(FlowControl, holdsBytesBackFromXoffToXon)
{
    fromFarEnd(kXoff);
    EXPECT_EQ(write("abc"), 0);
    EXPECT_EQ(write("def"), 0);
    EXPECT_EQ(atFarEnd(), "");
    fromFarEnd(std::string("x") + kXon + "y");
    EXPECT_EQ(atFarEnd(), "abcdef");
    EXPECT_EQ(port_.holdCount, 0);
    EXPECT_EQ(write("g"), 1);
    EXPECT_EQ(atFarEnd(), "g");
}

TEST_F(FlowControl, takesTheLastOfSeveralSigns)
{
    fromFarEnd(std::string(kXoff) + kXon + kXoff);
    EXPECT_EQ(write("a"), 0);
    fromFarEnd(kXoff);
    EXPECT_EQ(write("b"), 0);
    fromFarEnd(kXon);
    EXPECT_EQ(atFarEnd(), "ab");
    fromFarEnd(kXon);
    EXPECT_EQ(atFarEnd(), "");
}

TEST_F(FlowControl, refusesWhatTheHoldBufferCannotTake)
{
    fromFarEnd(kXoff);
    EXPECT_EQ(write(std::string(kHoldCapacity + 1, 'x')), 2);
    EXPECT_EQ(write(std::string(2'000, 'a')), 0);
    EXPECT_EQ(write(std::string(49, 'b')), 2);
    EXPECT_EQ(port_.holdCount, 2'000);
    EXPECT_EQ(write(std::string(47, 'c')), 0);
    fromFarEnd(kXon);
    EXPECT_EQ(atFarEnd(), std::string(2'000, 'a') + std::string(47, 'c'));
}

// Kept: a buffer filled to its last byte counts as empty.
TEST_F(FlowControl, wrapsItsCountWhenTheHoldBufferIsFull)
{
    fromFarEnd(kXoff);
    EXPECT_EQ(write(std::string(kHoldCapacity, 'x')), 0);
    EXPECT_EQ(port_.holdCount, 0);
    fromFarEnd(kXon);
    EXPECT_EQ(atFarEnd(), "");
}

TEST_F(FlowControl, looksAtNoBytesInAnyOtherMode)
{
    port_.flowMode = kFlowNone;
    fromFarEnd(kXoff);
    EXPECT_EQ(write("abc"), 3);
    EXPECT_EQ(atFarEnd(), "abc");
}

TEST_F(FlowControl, sendsXoffAndXon)
{
    EXPECT_EQ(uartSendXoff(port_), 0);
    EXPECT_EQ(uartSendXon(port_), 0);
    EXPECT_EQ(atFarEnd(), std::string(kXoff) + kXon);
}

TEST_F(FlowControl, forgetsWhatIsHeldAtAReset)
{
    fromFarEnd(kXoff);
    EXPECT_EQ(write("abc"), 0);
    EXPECT_EQ(uartRingReset(port_), 0);
    EXPECT_EQ(write("d"), 1);
    EXPECT_EQ(atFarEnd(), "d");
}

TEST_F(FlowControl, tellsFailuresOfADeadPort)
{
    ::close(port_.fd);
    port_.fd = -1;
    char byte = 0;
    EXPECT_EQ(uartReadFlow(port_, &byte, 1), -1);
    EXPECT_EQ(write("a"), -1);
    EXPECT_EQ(uartSendXoff(port_), -1);
    EXPECT_EQ(uartSendXon(port_), -1);
}

}  // namespace
