// Whatever the format, the text is the one that the C library writes.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/support/fixedText.h"

namespace {

struct Formatted {
    int length;
    std::string text;  // with what stands behind its end, up to the capacity
    bool operator==(const Formatted&) const = default;
};

// The buffer is filled with marks, so that a byte written too many shows.
[[gnu::format(printf, 2, 3)]] Formatted ours(std::size_t capacity, const char* format, ...)
{
    std::vector<char> buffer(capacity + 8, '#');
    va_list arguments;
    va_start(arguments, format);
    const int length = formatText(buffer.data(), capacity, format, arguments);
    va_end(arguments);
    return {length, std::string(buffer.begin(), buffer.end())};
}

[[gnu::format(printf, 2, 3)]] Formatted theirs(std::size_t capacity, const char* format, ...)
{
    std::vector<char> buffer(capacity + 8, '#');
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer.data(), capacity, format, arguments);
    va_end(arguments);
    return {length, std::string(buffer.begin(), buffer.end())};
}

// A capacity that everything fits, and all that cut somewhere.
#define EXPECT_AS_THE_LIBRARY(...)                                                                                     \
    do {                                                                                                               \
        const int whole = theirs(1'000, __VA_ARGS__).length;                                                           \
        ASSERT_GE(whole, 0);                                                                                           \
        EXPECT_EQ(ours(1'000, __VA_ARGS__).text.substr(0, static_cast<std::size_t>(whole) + 1),                        \
                  theirs(1'000, __VA_ARGS__).text.substr(0, static_cast<std::size_t>(whole) + 1));                     \
        for (std::size_t capacity = 0; capacity <= static_cast<std::size_t>(whole) + 2; ++capacity) {                  \
            EXPECT_EQ(ours(capacity, __VA_ARGS__), theirs(capacity, __VA_ARGS__)) << "capacity " << capacity;          \
        }                                                                                                              \
    } while (false)

std::ostream& operator<<(std::ostream& out, const Formatted& formatted)
{
    return out << formatted.length << " \"" << formatted.text << '"';
}

// The formats of the daemon's messages and replies.
TEST(FormatText, WritesWhatMessagesAreMadeOf)
{
    EXPECT_AS_THE_LIBRARY("\033[1;31;36m[%s][%s][%d] Command=%s \033[0m \n", "userCommand", "UserCommandHandler", 47,
                          "Blink on");
    EXPECT_AS_THE_LIBRARY("\033[1;31;33m[%s][%d] select success!\033[0m\n", "main", 193);
    EXPECT_AS_THE_LIBRARY("[%s], line = %s, strlen(line) = %zu \r\n", "cb_linehandler", "", sizeof(int));
    EXPECT_AS_THE_LIBRARY("uart_open2(%s,%d,%d,%d,%d,%d)\r\n", "/dev/ttyS1", 9600, 8, 1, 0, -1);
    EXPECT_AS_THE_LIBRARY("%s %s\r\n", "Blink", "on");
    EXPECT_AS_THE_LIBRARY("%s", "100% \xff\x01 %d");
    EXPECT_AS_THE_LIBRARY("%c%c", 'a', '\n');
    EXPECT_AS_THE_LIBRARY("100%%");
    EXPECT_AS_THE_LIBRARY("plain");
    EXPECT_AS_THE_LIBRARY("%s", "");
    EXPECT_AS_THE_LIBRARY("%s%d%s%zu%c%%%s", "1", 2, "3", std::size_t{4}, '5', "6");
}

TEST(FormatText, WritesEveryNumber)
{
    for (const int number : {0, 1, -1, 9, 10, 99, -100, 115'200, INT_MAX, INT_MIN}) {
        EXPECT_AS_THE_LIBRARY("%d", number);
        EXPECT_AS_THE_LIBRARY("<%d>", number);
    }
    for (const std::size_t number : {std::size_t{0}, std::size_t{10'240}, SIZE_MAX}) {
        EXPECT_AS_THE_LIBRARY("%zu", number);
    }
    for (int character = 0; character < 256; ++character) {
        EXPECT_AS_THE_LIBRARY("%c|", character);
    }
}

// Left to the library, also behind conversions that were written plainly already.
TEST(FormatText, LeavesTheRestToTheLibrary)
{
    const char* volatile none = nullptr;  // volatile: GCC warns of a null that it sees
    EXPECT_AS_THE_LIBRARY("%s=%f", "a", 1.5);
    EXPECT_AS_THE_LIBRARY("%d %02d:%5s|%-5s|%.2s", 3, 7, "ab", "cd", "efg");
    EXPECT_AS_THE_LIBRARY("%02lld %x %X %u %ld", 5LL, 255U, 255U, 7U, -8L);
    EXPECT_AS_THE_LIBRARY("%s%zx", "a", std::size_t{255});
    EXPECT_AS_THE_LIBRARY("%s%s", "a", none);
    EXPECT_AS_THE_LIBRARY("%+d % d %#x", 5, 5, 5U);
}

TEST(FormatText, KeepsErrno)
{
    errno = ENOSPC;
    FixedText<16> text;
    EXPECT_TRUE(text.format("%s %d", "a", 1));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(text.view(), "a 1");
    EXPECT_FALSE(text.format("%s", "0123456789abcdef"));
    EXPECT_EQ(text.view(), "0123456789abcde");
    EXPECT_TRUE(text.format("%s", "0123456789abcde"));
}

}  // namespace
