// The main loop: a select over the serial port and the LPC service with a 30 ms time-out. The time-out is the burst
// separator: a quiet gap of 30 ms on the line ends a burst.
#pragma once

#include "core/consoleParameter.h"
#include "platform/lpc.h"

struct ServiceHandle {
    lpc_service* service;  // null once destroyed
    int fd;                // -1 once destroyed
};

/// Installs cleanExit for SIGINT. False when the system refuses.
bool installCleanExit();

/// Never returns. SIGINT destroys the service and the loop goes on with the serial port alone.
[[noreturn]] void runLoop(ConsoleParameter& record, ServiceHandle service);
