// Diagnostic messages: one write() each, so that every message is there once it was printed, also in a file or a pipe;
// a message without a line end is given one. Callable from any thread.
#pragma once

#include <cstdarg>
#include <cstddef>

/// Longer messages are cut; room for a full command line and its frame.
inline constexpr std::size_t kMessageCapacity = 10'240;

[[gnu::format(printf, 1, 2)]] void printOut(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void printError(const char* format, ...);
[[gnu::format(printf, 1, 0)]] void vprintError(const char* format, va_list arguments);

/// "label: error text of errno" on standard error, as perror(3) prints it; errno is kept.
void reportSystemError(const char* label);
