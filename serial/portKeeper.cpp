#include "serial/portKeeper.h"

#include <cstring>
#include <string_view>
#include <utility>

#include "platform/support/report.h"
#include "serial/uart.h"

namespace {

using std::chrono::steady_clock;

// How long a device that is away is left alone.
constexpr std::chrono::seconds kRetryInterval{1};

void markAway(ConsoleParameter& record)
{
    record.portAway = true;
    record.nextTry = steady_clock::now() + kRetryInterval;
}

void markBack(ConsoleParameter& record)
{
    record.portAway = false;
    printError("serial device %s is back\n", record.lastTried.path);
}

}  // namespace

void closePort(ConsoleParameter& record)
{
    if (const std::shared_ptr<UartPort> port = record.uart.hold()) {
        uartDropStalled(*port);
    }
    record.uart.replace(nullptr);
}

void openPort(ConsoleParameter& record, const PortSettings& settings)
{
    // Closed first, unless the loop still waits at it: some drivers serve one opener at a time.
    closePort(record);
    const bool wasAway = record.portAway && std::string_view(record.lastTried.path) == settings.path;
    record.lastTried = settings;
    std::shared_ptr<UartPort> port =
        uart_open2(settings.path, settings.speed, settings.dataBits, settings.stopBits, settings.parity, kFlowNone);
    if (port == nullptr) {
        markAway(record);
        return;
    }
    record.portAway = false;
    if (wasAway) {
        markBack(record);
    }
    record.uart.replace(std::move(port));
}

void losePort(ConsoleParameter& record, int error)
{
    char text[128];
    printError("serial device %s is gone: %s\n", record.lastTried.path,
               error != 0 ? strerror_r(error, text, sizeof text) : "hang-up");
    closePort(record);
    markAway(record);
}

std::shared_ptr<UartPort> keepPort(ConsoleParameter& record)
{
    if (record.portAway && steady_clock::now() >= record.nextTry) {
        const PortSettings& settings = record.lastTried;
        std::shared_ptr<UartPort> port = uartOpenQuietly(settings.path, settings.speed, settings.dataBits,
                                                         settings.stopBits, settings.parity, kFlowNone);
        if (port != nullptr) {
            markBack(record);
            record.uart.replace(std::move(port));
        } else {
            markAway(record);
        }
    }
    return record.uart.hold();
}
