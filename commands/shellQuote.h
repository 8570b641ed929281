// Words of a shell command line whose text somebody else chose.
#pragma once

#include <string_view>

#include "platform/support/fixedText.h"

/// True for a text that the shell takes as one word as it stands: not empty, and of nothing but A-Z a-z 0-9 and
/// _ . : , + = @ % / -
bool isPlainWord(std::string_view text);

/// Appends the text as one word: plain as it stands, anything else in single quotes (XCU 2.2.2), a single quote inside
/// as '\''. False when it did not fit; the line must not be run then.
template <std::size_t Capacity>
[[nodiscard]] bool appendWord(FixedText<Capacity>& commandLine, std::string_view text)
{
    if (isPlainWord(text)) {
        return commandLine.append(text);
    }
    bool whole = commandLine.append('\'');
    for (const char character : text) {
        whole = (character == '\'' ? commandLine.append(R"('\'')") : commandLine.append(character)) && whole;
    }
    return commandLine.append('\'') && whole;
}
