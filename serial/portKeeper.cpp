#include "serial/portKeeper.h"

#include <cstring>
#include <utility>

#include "platform/support/report.h"
#include "serial/uart.h"

void openPort(ConsoleParameter& record, const PortSettings& settings)
{
    record.uart.replace(nullptr);  // closed first: some drivers serve one opener at a time
    record.lastTried = settings;
    record.uart.replace(
        uart_open2(settings.path, settings.speed, settings.dataBits, settings.stopBits, settings.parity, kFlowNone));
}

void losePort(ConsoleParameter& record, int error)
{
    char text[128];
    printError("serial device %s is gone: %s\n", record.lastTried.path,
               error != 0 ? strerror_r(error, text, sizeof text) : "hang-up");
    record.uart.replace(nullptr);
}

void retryPort(ConsoleParameter& record)
{
    const PortSettings& settings = record.lastTried;
    std::shared_ptr<UartPort> port = uartOpenQuietly(settings.path, settings.speed, settings.dataBits,
                                                     settings.stopBits, settings.parity, kFlowNone);
    if (port != nullptr) {
        printError("serial device %s is back\n", settings.path);
        record.uart.replace(std::move(port));
    }
}
