// Keeps the instance's serial port open: a device that is away is tried again every second until it is back. Called
// with the record's mutex held, or before there is a second thread.
#pragma once

#include <memory>

#include "core/consoleParameter.h"

/// Gives the port up: its descriptor is closed with the last share of it. Unsent bytes of a stalled line are dropped
/// now.
void closePort(ConsoleParameter& record);

/// Opens a port into `uart`, in place of the one that stands there, and remembers the settings for later tries. A
/// failure is reported and leaves `uart` null; so is the return of a device that was away. Bytes on their way are sent
/// first; those that do not move for 2 s are dropped.
void openPort(ConsoleParameter& record, const PortSettings& settings);

/// The device is gone (hang-up, read error): reports `error`, an errno value or 0 for end of file, and closes the port.
void losePort(ConsoleParameter& record, int error);

/// The open port, or null. A device that is away is tried first, when a second has passed since it last was: with the
/// remembered settings, without a word until it is back.
std::shared_ptr<UartPort> keepPort(ConsoleParameter& record);
