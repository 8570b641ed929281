// The forms that a console command's reply may have, and the state of a receiver fresh from the factory: for tests that
// run commands nobody chose.
#pragma once

#include <string>
#include <string_view>

#include "console/commandEntry.h"

/// Who gave the texts that a reply may repeat: only a peer's command line can have line ends in it.
enum class TextsOf { console, peers };

/// True when `reply` is one that the row (null: none matched) may give to `line`, which has no leading blanks.
bool isReplyForm(const CommandEntry* row, const std::string& line, std::string_view reply,
                 TextsOf texts = TextsOf::console);

/// Puts all of a bench's factory state, a JSON file, into the recording platform. Throws std::runtime_error.
void seedFromFile(const char* path);
