// JSON as the tools write and read it. A text of the platform is a byte string that need not be UTF-8, JSON is: a byte
// that is no part of valid UTF-8 is written as a lone low surrogate, \udc80 to \udcff (byte + 0xDC00), and read back as
// that byte. Every other escape keeps the meaning that json-c gives it.
#pragma once

#include <string>
#include <string_view>

/// The text as a quoted JSON string, escaped as json-c does it, slashes excepted.
std::string jsonString(std::string_view text);

/// JSON text in which bytes outside of valid UTF-8 are written as escapes.
std::string printableJson(std::string_view json);

/// JSON text in which these escapes are the bytes again.
std::string storableJson(std::string_view json);

/// Whether the whole text is one JSON value (RFC 8259), white space around it allowed.
bool isJson(std::string_view text);
