// Taking a command's argument apart.
#pragma once

#include <optional>
#include <string_view>

/// The next piece of `rest` before a separator, taken off it with what surrounds it; empty at the end. A run of
/// separators is one, and those at either end are none: no piece but the last answer is empty.
std::string_view nextPiece(std::string_view& rest, char separator);

/// The number that a text of nothing but decimal digits names; none for an empty text, for any other character and for
/// ten digits or more.
std::optional<int> decimalNumber(std::string_view digits);

/// The number that a text begins with, as atoi(3) reads it; one that no int can hold comes back as the nearest one.
int leadingNumber(const char* text);
