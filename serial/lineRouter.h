// Where a finished line goes: to the command dispatcher, character by character to the handshake service "wpcmdd", to
// the RS232zone store, or nowhere. Loop thread only; lines are routed with the record's mutex held, the quiet-gap work
// runs without it.
#pragma once

#include <cstddef>

#include "core/consoleParameter.h"
#include "platform/support/fixedText.h"
#include "serial/rs232zone.h"

/// UserCommandHandler, handed down by core: an unused int, the line, its length.
using DispatcherEntry = int (*)(int unused, const char* line, int length);

struct LineRouter {
    ConsoleParameter& record;
    DispatcherEntry dispatch;
    Rs232zone zone{};
};

/// `line` is zero-terminated and without its terminator (13 or 10), which comes beside it.
void cb_linehandler(LineRouter& router, const char* line, std::size_t length, char terminator)
    REQUIRES(router.record.mutex);

/// 1 for a line of the HDBaseT link's handshake: it begins with "WP_", "]$" or "COMMAND FAIL".
int isWpCmdd(const char* line);
