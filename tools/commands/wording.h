// What the text forms of the command reference say alike.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/commands/commandDescriptions.h"

/// "integer, -80 to 0; dB"
std::string fieldWording(const UsageField& field);

/// What is said of a form beside what is typed and answered; sentences.
std::string formWording(const CommandDescription& command, const UsageForm& form);

/// What is said of the whole command; sentences.
std::vector<std::string> commandWording(const CommandDescription& command);

/// The topic on which a store announces changes below a path.
std::string changeTopic(std::string_view path, bool inStatusStore);

/// The store's leaf that a form writes.
std::optional<SettingLeaf> storedLeaf(const CommandDescription& command, const UsageStore& store);

/// The range of numbers that the built-in help text names and the command does not keep to; empty when there is none.
std::string wrongHelpRange(const CommandDescription& command);

/// How a form is typed: "VOUT {level}".
std::string typedForm(const CommandDescription& command, const UsageForm& form);

/// Calls `text` and `field` for the pieces of a pattern in their order.
template <class Text, class Field>
void forPieces(std::string_view pattern, Text text, Field field)
{
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::size_t plain = 0;
    for (std::size_t at = pattern.find('{'); at != std::string_view::npos; at = pattern.find('{', at + 1)) {
        const std::size_t end = pattern.find_first_not_of(kLetters, at + 1);
        if (end == std::string_view::npos || pattern[end] != '}' || end == at + 1) {
            continue;  // a brace of JSON
        }
        text(pattern.substr(plain, at - plain));
        field(pattern.substr(at + 1, end - at - 1));
        plain = end + 1;
    }
    text(pattern.substr(plain));
}
