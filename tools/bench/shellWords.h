// A shell command line cut into words, as sh(1) would hand them to a program.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Blanks, the three kinds of quoting and comments are understood; a pattern stands for itself, as when it matches no
/// file. Nothing for a line that a shell would do more with (expansion, several commands, redirection) or that ends
/// inside quotes.
std::optional<std::vector<std::string>> shellWords(std::string_view line);
