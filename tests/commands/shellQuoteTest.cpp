#include "commands/shellQuote.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

std::string word(std::string_view text)
{
    FixedText<1024> line;
    EXPECT_TRUE(appendWord(line, text));
    return line.c_str();
}

// What a shell hands to a program for a word, in brackets so that nothing at its ends is lost.
std::string throughShell(std::string_view text)
{
    const std::string command = "printf '[%s]' " + word(text);
    struct Close {
        void operator()(FILE* pipe) const { ::pclose(pipe); }
    };
    const std::unique_ptr<FILE, Close> pipe(::popen(command.c_str(), "re"));
    std::string output;
    char buffer[256];
    while (const std::size_t length = std::fread(buffer, 1, sizeof buffer, pipe.get())) {
        output.append(buffer, length);
    }
    return output;
}

TEST(ShellQuote, PlainTextsStandAsTheyAre)
{
    for (const char* text : {"a", "0042", "00:11:22:33:44:55", "A-Z_a.z:0,9+=@%/-", "-w"}) {
        EXPECT_EQ(word(text), text);
    }
}

TEST(ShellQuote, ExactlyTheListedCharactersArePlain)
{
    const std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.:,+=@%/-";
    for (int code = 1; code < 256; ++code) {
        const auto character = static_cast<char>(code);
        EXPECT_EQ(isPlainWord(std::string_view(&character, 1)), plain.find(character) != std::string_view::npos)
            << code;
    }
    EXPECT_FALSE(isPlainWord(""));
}

TEST(ShellQuote, EverythingElseStandsInSingleQuotes)
{
    EXPECT_EQ(word(""), "''");
    EXPECT_EQ(word("x; reboot"), "'x; reboot'");
    EXPECT_EQ(word("a -w MacAddr b"), "'a -w MacAddr b'");
    EXPECT_EQ(word("it's"), R"('it'\''s')");
    EXPECT_EQ(word("'"), R"(''\''')");
}

TEST(ShellQuote, AShellGivesEveryTextBackUnchanged)
{
    for (int code = 1; code < 256; ++code) {
        const std::string text = std::string("x") + static_cast<char>(code) + "y";
        EXPECT_EQ(throughShell(text), '[' + text + ']') << code;
    }
    for (const char* text : {"", "'", "''", "a'b'c", "$(echo x)`echo y`$HOME", "*", "~", "\\", "\"", "a  b ", "-n"}) {
        EXPECT_EQ(throughShell(text), '[' + std::string(text) + ']');
    }
}

TEST(ShellQuote, AWordThatDoesNotFitIsToldOf)
{
    FixedText<6> line;
    EXPECT_TRUE(appendWord(line, "abcde"));
    line.clear();
    EXPECT_FALSE(appendWord(line, "abcdef"));
    line.clear();
    EXPECT_TRUE(appendWord(line, "a b"));
    line.clear();
    EXPECT_FALSE(appendWord(line, "a bc"));
    line.clear();
    EXPECT_FALSE(appendWord(line, "'"));  // ''\'''
    FixedText<7> larger;
    EXPECT_TRUE(appendWord(larger, "'"));
}

}  // namespace
