// Standard output of a tool whose lines others read as they come.
#pragma once

#include <string_view>

#include "platform/jsonToken.h"

/// Writes a line and its end, flushed. Throws Refused when it cannot be written.
void printLine(std::string_view line);

/// One line of JSON without white space, bytes outside of UTF-8 as escapes. A null token is JSON's null.
void printJson(const json_token* token);
