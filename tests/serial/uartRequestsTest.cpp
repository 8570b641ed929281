// What the driver asks of a serial device. A pseudo-terminal keeps neither size nor parity and knows no RS-485, so the
// requests are caught on their way to the kernel.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "serial/uart.h"
#include "support/outputFile.h"
#include "support/pseudoTerminal.h"

namespace {

// ioctl_tty(2), asm-generic/ioctls.h
constexpr unsigned kGetTermios2 = 0x2A;
constexpr unsigned kSetTermios2 = 0x2B;

struct Requests {
    std::vector<std::string> steps;
    termios line{};
    serial_rs485 rs485{};
    int fd = -1;
    bool refuseLine = false;
    int unsent = 0;  // bytes in the driver's own buffer; a pseudo-terminal has none
    int sent = 0;    // of these between two questions
};
Requests* g_requests = nullptr;

}  // namespace

// The wrapped calls; see the link options.
extern "C" {
int __real_tcflush(int fd, int queue);
int __wrap_tcflush(int fd, int queue)
{
    g_requests->steps.emplace_back(queue == TCIFLUSH   ? "drop input"
                                   : queue == TCOFLUSH ? "drop output"
                                                       : "drop something else");
    return __real_tcflush(fd, queue);
}

int __real_tcsetattr(int fd, int actions, const termios* wanted);
int __wrap_tcsetattr(int fd, int actions, const termios* wanted)
{
    g_requests->steps.emplace_back(actions == TCSADRAIN ? "set when drained" : "set now");
    g_requests->line = *wanted;
    g_requests->fd = fd;
    if (g_requests->refuseLine) {
        errno = EIO;
        return -1;
    }
    return __real_tcsetattr(fd, actions, wanted);
}

int __real_ioctl(int fd, unsigned long request, void* argument);
int __wrap_ioctl(int fd, unsigned long request, void* argument)
{
    if (request == TIOCSRS485) {
        g_requests->rs485 = *static_cast<serial_rs485*>(argument);
        return 0;
    }
    if (request == TIOCOUTQ) {
        *static_cast<int*>(argument) = g_requests->unsent;
        g_requests->unsent = std::max(g_requests->unsent - g_requests->sent, 0);
        return 0;
    }
    if (_IOC_NR(request) == kGetTermios2 || _IOC_NR(request) == kSetTermios2) {
        g_requests->steps.emplace_back(_IOC_NR(request) == kGetTermios2 ? "get speed" : "set speed");
    }
    return __real_ioctl(fd, request, argument);
}
}

namespace {

using Steps = std::vector<std::string>;

class UartRequests : public testing::Test {
protected:
    UartRequests() { g_requests = &requests_; }
    ~UartRequests() override { g_requests = nullptr; }

    std::shared_ptr<UartPort> open(int speed, int dataBits = 8, int parity = 0, int flow = kFlowNone)
    {
        const CapturedOutput captured(output_);
        return uart_open2(line_.device().c_str(), speed, dataBits, 1, parity, flow);
    }

    tcflag_t asked(tcflag_t mask) const { return requests_.line.c_cflag & mask; }
    Steps takeSteps() { return std::exchange(requests_.steps, {}); }

    PseudoTerminal line_;
    OutputFile output_;
    Requests requests_;
};

TEST_F(UartRequests, areForFiveToSevenBitsOrElseEight)
{
    const std::pair<int, tcflag_t> kSizes[] = {{5, CS5}, {6, CS6}, {7, CS7},  {8, CS8}, {4, CS8},
                                               {9, CS8}, {0, CS8}, {-1, CS8}, {16, CS8}};
    for (const auto& [dataBits, size] : kSizes) {
        EXPECT_NE(open(9600, dataBits), nullptr) << dataBits;
        EXPECT_EQ(asked(CSIZE), size) << dataBits;
    }
}

TEST_F(UartRequests, areForNoOddOrElseEvenParity)
{
    const std::pair<int, tcflag_t> kParities[] = {{0, 0},      {1, PARENB | PARODD}, {2, PARENB},
                                                  {3, PARENB}, {99, PARENB},         {-1, PARENB}};
    for (const auto& [parity, flags] : kParities) {
        EXPECT_NE(open(9600, 8, parity), nullptr) << parity;
        EXPECT_EQ(asked(PARENB | PARODD), flags) << parity;
    }
}

TEST_F(UartRequests, dropInputAndThenSetTheLineWhenItsOutputHasLeft)
{
    EXPECT_NE(open(12345), nullptr);
    EXPECT_EQ(takeSteps(), (Steps{"drop input", "set when drained"}));
    EXPECT_EQ(cfgetospeed(&requests_.line), static_cast<speed_t>(B9600));
}

TEST_F(UartRequests, areForTheCodeOf9600AndThenForACustomSpeed)
{
    EXPECT_NE(open(28800), nullptr);
    EXPECT_EQ(takeSteps(), (Steps{"drop input", "set when drained", "get speed", "set speed"}));
    EXPECT_EQ(cfgetospeed(&requests_.line), static_cast<speed_t>(B9600));
}

TEST_F(UartRequests, areForModemLinesWithHardwareFlowControlAlone)
{
    EXPECT_NE(open(9600, 8, 0, kFlowNone), nullptr);
    EXPECT_EQ(asked(CREAD | CLOCAL | CRTSCTS | HUPCL), static_cast<tcflag_t>(CREAD | CLOCAL));
    EXPECT_NE(open(9600, 8, 0, kFlowHardware), nullptr);
    EXPECT_EQ(asked(CREAD | CLOCAL | CRTSCTS | HUPCL), CREAD | CLOCAL | CRTSCTS);
    EXPECT_NE(open(9600, 8, 0, kFlowSoftware), nullptr);
    EXPECT_EQ(asked(CREAD | CLOCAL | CRTSCTS | HUPCL), static_cast<tcflag_t>(CREAD | CLOCAL | HUPCL));
}

TEST_F(UartRequests, thatTheLineRefusesAreReportedAndLoseThePort)
{
    requests_.refuseLine = true;
    EXPECT_EQ(open(28800), nullptr);
    EXPECT_EQ(output_.from(0), "[uart_open2] tcsetattr(uart->fd, TCSADRAIN, &newtermios) failed!\r\n");
    EXPECT_EQ(takeSteps(), (Steps{"drop input", "set when drained"}));
    EXPECT_EQ(::fcntl(requests_.fd, F_GETFD), -1);
}

TEST_F(UartRequests, areSilentForADeviceThatMayBeAway)
{
    requests_.refuseLine = true;
    const CapturedOutput captured(output_);
    for (const char* device : {"/nonexistent/tty", "/dev/null", line_.device().c_str()}) {
        EXPECT_EQ(uartOpenQuietly(device, 9600, 8, 1, 0, kFlowNone), nullptr) << device;
    }
    EXPECT_EQ(output_.from(0), "");
}

TEST_F(UartRequests, ofTheOlderRoutineTakeEffectAtOnce)
{
    EXPECT_NE(uart_open(line_.device().c_str(), kFlowNone), nullptr);
    EXPECT_EQ(takeSteps(), (Steps{"drop input", "set now"}));
    EXPECT_EQ(asked(CSIZE | PARENB | CSTOPB), static_cast<tcflag_t>(CS8));
    EXPECT_NE(uart_open(line_.device().c_str(), kFlowHardware), nullptr);
    EXPECT_EQ(asked(CRTSCTS), CRTSCTS);
    EXPECT_NE(uart_open(line_.device().c_str(), kFlowSoftware), nullptr);
    EXPECT_EQ(asked(CREAD | CLOCAL | HUPCL | CSIZE), static_cast<tcflag_t>(CREAD | CLOCAL | HUPCL | CS8));
}

// What a far end does not read would keep the port from being closed and set up again.
TEST_F(UartRequests, dropUnsentBytesOfAStalledLineAtItsEnd)
{
    constexpr int kUnsent = 10;
    for (const auto& [stalled, unsent, steps] : {std::tuple(true, kUnsent, Steps{"drop output"}),
                                                 std::tuple(true, 0, Steps{}), std::tuple(false, kUnsent, Steps{})}) {
        requests_.unsent = 0;
        auto port = open(9600);
        ASSERT_NE(port, nullptr);
        takeSteps();
        port->stalled = stalled;
        requests_.unsent = unsent;
        uart_close2(std::move(port));
        EXPECT_EQ(takeSteps(), steps) << stalled << " " << unsent;
    }
}

// Of the opener before, at a line that nobody reads.
TEST_F(UartRequests, dropWhatHasNotMovedForTwoSecondsBeforeTheLineIsSet)
{
    constexpr std::chrono::milliseconds kPatience{2'000};
    requests_.unsent = 1;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(open(9600), nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - start, kPatience);
    EXPECT_EQ(takeSteps(), (Steps{"drop output", "drop input", "set when drained"}));
}

TEST_F(UartRequests, waitForASlowLineAsLongAsItMoves)
{
    constexpr std::chrono::milliseconds kPatience{2'000};
    requests_.unsent = 120;  // asked for every 20 ms
    requests_.sent = 1;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(open(9600), nullptr);
    EXPECT_GT(std::chrono::steady_clock::now() - start, kPatience);
    EXPECT_EQ(takeSteps(), (Steps{"drop input", "set when drained"}));
}

// Kept: switched off, the line stays in RS-485 mode.
TEST_F(UartRequests, switchRs485)
{
    constexpr unsigned kOn = 7;  // enabled, RTS on send and after it
    constexpr unsigned kOff = 1;
    EXPECT_EQ(uartRs485Switch(line_.deviceFd(), true), 1);
    EXPECT_EQ(requests_.rs485.flags, kOn);
    EXPECT_EQ(uartRs485Switch(line_.deviceFd(), false), 1);
    EXPECT_EQ(requests_.rs485.flags, kOff);
}

}  // namespace
