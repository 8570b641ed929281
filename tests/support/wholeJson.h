// Whether a text is JSON, for tests that look at very many.
#pragma once

#include <string_view>

/// One whole JSON value and nothing behind it; bytes that are no UTF-8 count as characters.
bool isJson(std::string_view text);
