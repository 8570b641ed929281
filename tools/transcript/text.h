// Texts of transcripts and failure messages: escapes for what cannot be seen.
#pragma once

#include <string>
#include <string_view>

/// \r \n \t \\ \xNN become the bytes they stand for. Throws std::runtime_error on any other backslash.
std::string unescaped(std::string_view text);
/// The reverse: control characters, backslashes, bytes beyond ASCII and a trailing blank are escaped.
std::string escaped(std::string_view bytes);
