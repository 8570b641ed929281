#include "console/argumentText.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace {

constexpr std::size_t kMostDigits = 9;  // ten may be more than an int holds

}  // namespace

std::string_view nextPiece(std::string_view& rest, char separator)
{
    rest.remove_prefix(std::min(rest.find_first_not_of(separator), rest.size()));
    const std::string_view piece = rest.substr(0, rest.find(separator));
    rest.remove_prefix(piece.size());
    return piece;
}

std::optional<int> decimalNumber(std::string_view digits)
{
    if (digits.empty() || digits.size() > kMostDigits) {
        return std::nullopt;
    }
    int number = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            return std::nullopt;
        }
        number = number * 10 + (digit - '0');
    }
    return number;
}

int leadingNumber(const char* text)
{
    const long number = std::strtol(text, nullptr, 10);
    return static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
}
