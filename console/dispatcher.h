// The dispatcher: every text command ends here. Called with the record's mutex held, on the thread that delivers the
// line; replies go to this instance's serial port.
#pragma once

#include <string_view>

#include "console/commandEntry.h"

/// Runs one line, given without its ending. The first and third argument are unused. The handler's result, or the reply
/// writer's when no row matched.
int UserCommandHandler(int unused, const char* line, int length);

/// The first row whose name equals the first match-length bytes of the text, or null. A row without handler ends the
/// search, which `stopped` then tells.
const CommandEntry* findCommand(std::string_view text, bool& stopped);

/// The refusal that nearly every command shares: "Command FAILED: (%s)\r\n" with the whole line. Always 1.
int refuse(const char* line);
