// Keeps the instance's serial port open: a device that went away is closed and tried again. Called with the record's
// mutex held.
#pragma once

#include "core/consoleParameter.h"

/// Opens a port into `uart`, in place of the one that stands there, and remembers the settings for later tries. A
/// failure is reported and leaves `uart` null.
void openPort(ConsoleParameter& record, const PortSettings& settings);

/// The device is gone (hang-up, read error): reports `error`, an errno value or 0 for end of file, and closes the port.
void losePort(ConsoleParameter& record, int error);

/// Tries the remembered settings again, silently; reports when the device is back.
void retryPort(ConsoleParameter& record);
