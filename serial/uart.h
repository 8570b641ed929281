// Serial port driver: opens a Linux tty raw with a given speed, size, stop bits and parity (termios(3),
// ioctl_tty(2)), and carries the RS-485 switch and the XON/XOFF handling of the module. Holds no lock: whoever replaces
// the daemon's port does it through PortSlot.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <sys/types.h>
#include <termios.h>

#include "core/consoleParameter.h"

enum FlowMode : int {
    kFlowNone = 0,
    kFlowHardware = 1,  // RTS/CTS
    kFlowSoftware = 2,  // XON/XOFF, handled here
};

inline constexpr int kHoldCapacity = 2048;

struct UartPort {
    int fd = -1;
    termios saved{};  // the device's settings as found at open time
    int flowMode = kFlowNone;
    char hold[kHoldCapacity] = {};     // bytes held back while the far end has sent XOFF
    int held = 0;                      // 1 while XOFF is in force
    int holdCount = 0;                 // bytes in `hold`; wraps to 0 at its end
    Mutex writing;                     // a text that leaves in several pieces stays whole
    std::atomic<bool> stalled{false};  // the far end took nothing for a whole time-out, and has not since

    UartPort() = default;
    UartPort(const UartPort&) = delete;
    UartPort& operator=(const UartPort&) = delete;
    ~UartPort();
};

/// Opens a port; mind that stop bits come before parity. Speeds are bit/s: the standard ones up to 230400, and 3600,
/// 7200, 14400 and 28800 as custom speeds; any other falls back to 9600. Data bits 5 to 7, any other means 8. Stop bits
/// 2, any other means one. Parity 0 none, 1 odd, any other even. Null after a message when the device fails.
std::shared_ptr<UartPort> uart_open2(const char* path, int speed, int dataBits, int stopBits, int parity, int flowMode);

/// The same for a device that may be away: without a word when it fails, and without waiting for a carrier.
std::shared_ptr<UartPort> uartOpenQuietly(const char* path, int speed, int dataBits, int stopBits, int parity,
                                          int flowMode);

/// Drops what a far end that has stalled did not take; it would hold up the end of the port and its next set-up.
void uartDropStalled(const UartPort& port);

/// Gives up a share of the port; the last one closes the descriptor.
void uart_close2(std::shared_ptr<UartPort> port);

/// Sets a speed that has no standard code, in bit/s. 0 for a negative descriptor, else 1, also when the driver refuses.
int uart_custom_baudrate(int fd, int speed);

/// Switches the RS-485 transceiver control. 1, or 0 on error.
int uartRs485Switch(int fd, bool on);

/// Writes all the bytes, waiting for room as long as some go. When none go for 2 s the rest is given up: -1 with
/// ETIMEDOUT; further texts are then given up at once until the far end takes bytes again. Else length, or -1.
ssize_t uartWrite(UartPort& port, const char* bytes, std::size_t length);

/// Bytes written, -1 on error, 0 when they went to the hold buffer, 2 when it cannot take them.
ssize_t uartWriteHeld(UartPort& port, const char* bytes, int length);
/// Bytes read, or -1. In software mode XOFF and XON among them take effect.
ssize_t uartReadFlow(UartPort& port, char* buffer, std::size_t length);
/// 0, or -1 on a write error.
int uartSendXoff(UartPort& port);
int uartSendXon(UartPort& port);
/// Forgets what is held back. 0.
int uartRingReset(UartPort& port);

/// The older open routine: 19200 8N1, applied at once. Ends the process with status 1 when the device cannot be opened.
std::shared_ptr<UartPort> uart_open(const char* path, int flowMode);
