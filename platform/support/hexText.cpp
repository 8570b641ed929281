#include "platform/support/hexText.h"

namespace {

// -1 for a character that is no hexadecimal digit.
constexpr int digitOf(char character)
{
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'A' && character <= 'F') {
        return character - 'A' + 10;
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    return -1;
}

}  // namespace

std::uint32_t hexNumber(std::string_view digits)
{
    std::uint32_t number = 0;
    for (const char character : digits) {
        const int digit = digitOf(character);
        if (digit < 0) {
            return 0;
        }
        number = number * 16 + static_cast<std::uint32_t>(digit);
    }
    return number;
}
