#include "transcript/text.h"

#include <cctype>
#include <charconv>
#include <stdexcept>

namespace {

char hexByte(std::string_view text, std::size_t at)
{
    unsigned value = 0;
    const std::string_view digits = text.substr(at, 2);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (digits.size() != 2 || error != std::errc() || end != digits.data() + digits.size()) {
        throw std::runtime_error("\\x needs two hex digits");
    }
    return static_cast<char>(value);
}

}  // namespace

std::string unescaped(std::string_view text)
{
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\') {
            bytes += text[at];
            continue;
        }
        ++at;
        switch (at < text.size() ? text[at] : '\0') {
        case 'r': bytes += '\r'; break;
        case 'n': bytes += '\n'; break;
        case 't': bytes += '\t'; break;
        case '\\': bytes += '\\'; break;
        case 'x':
            bytes += hexByte(text, at + 1);
            at += 2;
            break;
        default: throw std::runtime_error("unknown escape in: " + std::string(text));
        }
    }
    return bytes;
}

std::string escaped(std::string_view bytes)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const auto byte = static_cast<unsigned char>(bytes[at]);
        switch (byte) {
        case '\r': text += "\\r"; break;
        case '\n': text += "\\n"; break;
        case '\t': text += "\\t"; break;
        case '\\': text += "\\\\"; break;
        default:
            if (byte < 0x20 || byte > 0x7e || (byte == ' ' && at + 1 == bytes.size())) {
                text += "\\x";
                text += kDigits[byte >> 4];
                text += kDigits[byte & 0xF];
            } else {
                text += static_cast<char>(byte);
            }
        }
    }
    return text;
}
