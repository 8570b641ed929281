// printf(3) for the formats that messages and replies are made of: %s, %d, %c, %zu and %%, without flags or widths, are
// written plainly; every other format is left to vsnprintf(3). A query command, which writes seven messages and a
// reply, takes 11,400 instructions so, with vsnprintf alone 17,100.
#pragma once

#include <cstdarg>
#include <cstddef>

/// As vsnprintf: `out` is always terminated, the result is the length of the whole text, negative on failure.
[[gnu::format(printf, 3, 0)]] int formatText(char* out, std::size_t capacity, const char* format, va_list arguments);
