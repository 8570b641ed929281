#include "serial/uart.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/serial.h>
#include <new>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/support/report.h"

#ifndef CBAUDEX
#define CBAUDEX 0010000  // asm-generic/termbits.h: speeds beyond 38400
#endif

namespace {

constexpr char kXon = 17;
constexpr char kXoff = 19;

struct SpeedCode {
    int speed;  // bit/s
    speed_t code;
};

constexpr SpeedCode kSpeedCodes[] = {
    {0, B0},         {50, B50},       {75, B75},         {110, B110},       {134, B134},
    {150, B150},     {200, B200},     {300, B300},       {600, B600},       {1200, B1200},
    {1800, B1800},   {2400, B2400},   {4800, B4800},     {9600, B9600},     {19200, B19200},
    {38400, B38400}, {57600, B57600}, {115200, B115200}, {230400, B230400},
};

bool isCustomSpeed(int speed)
{
    return speed == 3600 || speed == 7200 || speed == 14400 || speed == 28800;
}

speed_t speedCode(int speed)
{
    for (const SpeedCode& entry : kSpeedCodes) {
        if (entry.speed == speed) {
            return entry.code;
        }
    }
    return B9600;
}

tcflag_t sizeFlag(int dataBits)
{
    switch (dataBits) {
    case 5: return CS5;
    case 6: return CS6;
    case 7: return CS7;
    default: return CS8;
    }
}

tcflag_t parityFlags(int parity)
{
    switch (parity) {
    case 0: return 0;
    case 1: return PARENB | PARODD;
    default: return PARENB;
    }
}

void setFlowMode(UartPort& port, termios& settings, int flowMode)
{
    settings.c_cflag = CREAD | CLOCAL;
    port.flowMode = kFlowNone;
    if (flowMode == kFlowHardware) {
        settings.c_cflag |= CRTSCTS;
        port.flowMode = kFlowHardware;
    } else if (flowMode == kFlowSoftware) {
        settings.c_cflag = CREAD | CLOCAL | HUPCL | CBAUDEX;
        port.flowMode = kFlowSoftware;
    }
}

// A pseudo-terminal has no line: it keeps eight bits without parity whatever is asked, and the C library then reports
// the request as invalid. Such a port works as well as it ever will when all the rest was taken.
bool tookAllButFraming(int fd, const termios& wanted)
{
    constexpr tcflag_t kFraming = CSIZE | PARENB | PARODD;
    termios taken{};
    return tcgetattr(fd, &taken) == 0 && (taken.c_cflag & ~kFraming) == (wanted.c_cflag & ~kFraming) &&
           taken.c_iflag == wanted.c_iflag && taken.c_oflag == wanted.c_oflag && taken.c_lflag == wanted.c_lflag;
}

using std::chrono::steady_clock;

// A text of which nothing went for this long is given up.
constexpr std::chrono::seconds kPatience{2};
// A UART's driver calls its line writable only once its buffer is nearly empty, after seconds at a low speed; it takes
// bytes long before.
constexpr int kRoomCheckMs = 20;

// Runs from the first wait after some bytes went.
struct Patience {
    steady_clock::time_point end{};
    bool over = false;
};

// False when the time is over, and a write since then has found no room: a process that was stopped meanwhile has not
// seen what the far end took.
bool waitForRoom(UartPort& port, Patience& patience)
{
    if (port.stalled || patience.over) {
        port.stalled = true;
        return false;
    }
    if (patience.end == steady_clock::time_point{}) {
        patience.end = steady_clock::now() + kPatience;
    }
    pollfd descriptor{port.fd, POLLOUT, 0};
    ::poll(&descriptor, 1, kRoomCheckMs);
    patience.over = steady_clock::now() >= patience.end;
    return true;
}

// Bytes that the driver has not sent yet.
int unsentBytes(int fd)
{
    int unsent = 0;
    return ioctl(fd, TIOCOUTQ, &unsent) == 0 ? unsent : 0;
}

// What a far end does not take would be waited for when the port is closed (closing_wait of setserial(8): 30 s) and
// when it is set up again (TCSADRAIN: for ever).
void dropUnsent(int fd)
{
    if (unsentBytes(fd) > 0) {
        tcflush(fd, TCOFLUSH);
    }
}

// Waits until the driver has sent its bytes, as long as some go; after the patience without one it drops the rest.
void sendOrDrop(int fd)
{
    int before = INT_MAX;
    steady_clock::time_point deadline{};
    while (true) {
        const steady_clock::time_point now = steady_clock::now();  // before the look at what went until then
        const int unsent = unsentBytes(fd);
        if (unsent == 0) {
            return;
        }
        if (unsent < before) {
            before = unsent;
            deadline = steady_clock::now() + kPatience;
        } else if (now >= deadline) {
            tcflush(fd, TCOFLUSH);
            return;
        }
        ::poll(nullptr, 0, kRoomCheckMs);
    }
}

// A far end that stops reading must not stop us.
void setNonBlocking(int fd)
{
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0) {
        fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    }
}

enum class Opening { reported, quiet };

std::shared_ptr<UartPort> openDevice(const char* path, int speed, int dataBits, int stopBits, int parity, int flowMode,
                                     Opening opening)
{
    const bool report = opening == Opening::reported;
    std::shared_ptr<UartPort> port(new (std::nothrow) UartPort);
    if (port == nullptr) {
        return nullptr;
    }
    uartRingReset(*port);

    port->fd = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC | (report ? 0 : O_NONBLOCK));
    if (port->fd < 0) {
        if (report) {
            printOut("[%s] open uart dev %s failed!\r\n", "uart_open2", path);
        }
        return nullptr;
    }
    if (tcgetattr(port->fd, &port->saved) != 0) {
        if (report) {
            printOut("[%s] tcgetattr() failed!\r\n", "uart_open2");
        }
        return nullptr;
    }

    termios settings{};
    cfmakeraw(&settings);
    setFlowMode(*port, settings, flowMode);
    cfsetospeed(&settings, speedCode(speed));
    cfsetispeed(&settings, speedCode(speed));
    settings.c_cflag |= sizeFlag(dataBits) | parityFlags(parity);
    if (stopBits == 2) {
        settings.c_cflag |= CSTOPB;
    }
    settings.c_iflag = IGNPAR | INPCK;
    settings.c_oflag = 0;
    settings.c_lflag = 0;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;

    sendOrDrop(port->fd);
    tcflush(port->fd, TCIFLUSH);
    if (tcsetattr(port->fd, TCSADRAIN, &settings) != 0 && !tookAllButFraming(port->fd, settings)) {
        if (report) {
            printOut("[%s] tcsetattr(uart->fd, TCSADRAIN, &newtermios) failed!\r\n", "uart_open2");
        }
        return nullptr;
    }
    if (isCustomSpeed(speed)) {
        uart_custom_baudrate(port->fd, speed);
    }
    setNonBlocking(port->fd);
    return port;
}

}  // namespace

UartPort::~UartPort()
{
    if (fd >= 0) {
        uartDropStalled(*this);
        ::close(fd);
    }
}

void uartDropStalled(const UartPort& port)
{
    if (port.stalled) {
        dropUnsent(port.fd);
    }
}

std::shared_ptr<UartPort> uart_open2(const char* path, int speed, int dataBits, int stopBits, int parity, int flowMode)
{
    return openDevice(path, speed, dataBits, stopBits, parity, flowMode, Opening::reported);
}

std::shared_ptr<UartPort> uartOpenQuietly(const char* path, int speed, int dataBits, int stopBits, int parity,
                                          int flowMode)
{
    return openDevice(path, speed, dataBits, stopBits, parity, flowMode, Opening::quiet);
}

void uart_close2(std::shared_ptr<UartPort> port)
{
    port.reset();
}

int uartRs485Switch(int fd, bool on)
{
    serial_rs485 configuration{};
    if (on) {
        configuration.flags |= SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND | SER_RS485_RTS_AFTER_SEND;
    } else {
        configuration.flags &= ~static_cast<unsigned>(SER_RS485_RTS_ON_SEND | SER_RS485_RTS_AFTER_SEND);
        configuration.flags |= SER_RS485_ENABLED;  // Kept: the driver stays in RS-485 mode, only RTS is let go.
    }
    if (ioctl(fd, TIOCSRS485, &configuration) < 0) {
        printOut("ioctl TIOCGRS485 error.");  // Kept: the message names the get request.
        return 0;
    }
    return 1;
}

ssize_t uartWrite(UartPort& port, const char* bytes, std::size_t length)
{
    const MutexLock whole(port.writing);
    Patience patience;
    std::size_t written = 0;
    while (true) {
        const ssize_t count = ::write(port.fd, bytes + written, length - written);
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            return -1;
        }
        if (count > 0) {
            written += static_cast<std::size_t>(count);
            port.stalled = false;
            patience = {};
        }
        if (written == length) {
            return static_cast<ssize_t>(written);
        }
        if (count <= 0 && !waitForRoom(port, patience)) {
            errno = ETIMEDOUT;
            return -1;
        }
    }
}

ssize_t uartWriteHeld(UartPort& port, const char* bytes, int length)
{
    if (port.held == 0) {
        return uartWrite(port, bytes, static_cast<std::size_t>(length));
    }
    if (length < 0 || port.holdCount > kHoldCapacity - length) {
        return 2;
    }
    for (int i = 0; i < length; ++i) {
        port.hold[port.holdCount] = bytes[i];
        port.holdCount = (port.holdCount + 1) % kHoldCapacity;
    }
    return 0;
}

ssize_t uartReadFlow(UartPort& port, char* buffer, std::size_t length)
{
    const ssize_t count = ::read(port.fd, buffer, length);
    if (port.flowMode != kFlowSoftware) {
        return count;
    }
    for (ssize_t i = 0; i < count; ++i) {
        if (buffer[i] == kXoff) {
            port.held = 1;
        } else if (buffer[i] == kXon && port.held != 0) {
            port.held = 0;
            uartWrite(port, port.hold, static_cast<std::size_t>(port.holdCount));
            port.holdCount = 0;
        }
    }
    return count;
}

int uartSendXoff(UartPort& port)
{
    return uartWrite(port, &kXoff, 1) < 0 ? -1 : 0;
}

int uartSendXon(UartPort& port)
{
    return uartWrite(port, &kXon, 1) < 0 ? -1 : 0;
}

int uartRingReset(UartPort& port)
{
    port.held = 0;
    port.holdCount = 0;
    std::memset(port.hold, 0, sizeof port.hold);
    return 0;
}

std::shared_ptr<UartPort> uart_open(const char* path, int flowMode)
{
    std::shared_ptr<UartPort> port(new (std::nothrow) UartPort);
    if (port == nullptr) {
        return nullptr;
    }
    port->fd = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (port->fd < 0) {
        reportSystemError(path);
        std::exit(1);
    }
    tcgetattr(port->fd, &port->saved);
    termios settings{};
    setFlowMode(*port, settings, flowMode);
    settings.c_cflag |= CS8 | B19200;
    settings.c_iflag = IGNPAR;
    settings.c_cc[VMIN] = 1;
    tcflush(port->fd, TCIFLUSH);
    tcsetattr(port->fd, TCSANOW, &settings);
    uartRingReset(*port);
    return port;
}
