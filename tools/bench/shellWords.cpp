#include "bench/shellWords.h"

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kShellWork = "|&;<>()$`\n";
constexpr std::string_view kEscapedInQuotes = "$`\"\\";

bool in(std::string_view set, char character)
{
    return set.find(character) != std::string_view::npos;
}

/// Takes a single-quoted text off the front of the line, the opening quote being gone.
bool takeLiteral(std::string_view& line, std::string& word)
{
    const auto end = line.find('\'');
    if (end == std::string_view::npos) {
        return false;
    }
    word += line.substr(0, end);
    line.remove_prefix(end + 1);
    return true;
}

bool takeQuoted(std::string_view& line, std::string& word)
{
    while (!line.empty()) {
        const char character = line.front();
        line.remove_prefix(1);
        if (character == '"') {
            return true;
        }
        if (in("$`", character)) {
            return false;
        }
        if (character == '\\' && !line.empty() && (in(kEscapedInQuotes, line.front()) || line.front() == '\n')) {
            if (line.front() != '\n') {
                word += line.front();
            }
            line.remove_prefix(1);
        } else {
            word += character;
        }
    }
    return false;
}

}  // namespace

std::optional<std::vector<std::string>> shellWords(std::string_view line)
{
    std::vector<std::string> words;
    std::optional<std::string> word;
    const auto endWord = [&] {
        if (word) {
            words.push_back(*word);
            word.reset();
        }
    };
    while (!line.empty()) {
        const char character = line.front();
        line.remove_prefix(1);
        if (in(kBlanks, character)) {
            endWord();
            continue;
        }
        if (character == '#' && !word) {
            break;
        }
        if (in(kShellWork, character) || (character == '~' && !word)) {
            return std::nullopt;
        }
        word = word.value_or("");
        if (character == '\'') {
            if (!takeLiteral(line, *word)) {
                return std::nullopt;
            }
        } else if (character == '"') {
            if (!takeQuoted(line, *word)) {
                return std::nullopt;
            }
        } else if (character == '\\') {
            if (line.empty()) {
                return std::nullopt;
            }
            if (line.front() != '\n') {
                *word += line.front();
            }
            line.remove_prefix(1);
        } else {
            *word += character;
        }
    }
    endWord();
    return words;
}
