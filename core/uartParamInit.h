// What the record and the shared flags start with.
#pragma once

#include "core/consoleParameter.h"

/// Line settings of interface N as stored under system.uart.interfaceN; a missing one is `missing`.
struct LineSettings {
    int baudrate;  // bit/s
    int databit;
    int parity;
    int stopbit;
};

/// Reads interface 1's settings from the settings store.
LineSettings readInterface1(int missing);

/// Fills the record's line settings, opens the port into `uart`, reads the link's identify status and the number of
/// port 9001 clients, and sets pConsoleParameterA. Runs once, before there is a second thread. Returns 1.
int uartParamInit(ConsoleParameter& record);

/// Opens the record's own device with the line settings of its role in force.
void openOwnPort(ConsoleParameter& record);
