// What may be typed at the console: the words of its commands and of their arguments, from docs/commands.json.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What may stand in place of the end of a line that is typed so far: names of commands, or words of the argument of
/// the command that the line begins with. `replaced` is how much of the line's end each of them takes in.
std::vector<std::string> completions(std::string_view line, std::size_t& replaced);
