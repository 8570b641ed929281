#include "support/jsonText.h"

#include <cstddef>
#include <optional>

namespace {

/// Length of the valid UTF-8 sequence at the start of the text, 0 when there is none. Overlong forms, surrogates and
/// what lies above U+10FFFF are not valid (RFC 3629).
std::size_t utf8Length(std::string_view text)
{
    const auto byte = [&](std::size_t at) { return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U; };
    const auto follows = [&](std::size_t at) { return byte(at) >= 0x80U && byte(at) <= 0xBFU; };
    const unsigned first = byte(0);
    if (first < 0x80U) {
        return 1;
    }
    if (first >= 0xC2U && first <= 0xDFU) {
        return follows(1) ? 2 : 0;
    }
    if (first >= 0xE0U && first <= 0xEFU) {
        const unsigned least = first == 0xE0U ? 0xA0U : 0x80U;
        const unsigned most = first == 0xEDU ? 0x9FU : 0xBFU;
        return byte(1) >= least && byte(1) <= most && follows(2) ? 3 : 0;
    }
    if (first >= 0xF0U && first <= 0xF4U) {
        const unsigned least = first == 0xF0U ? 0x90U : 0x80U;
        const unsigned most = first == 0xF4U ? 0x8FU : 0xBFU;
        return byte(1) >= least && byte(1) <= most && follows(2) && follows(3) ? 4 : 0;
    }
    return 0;
}

void appendHexEscape(std::string& out, unsigned unit)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += kDigits[(unit >> shift) & 0xFU];
    }
}

std::optional<unsigned> hexDigit(char character)
{
    if (character >= '0' && character <= '9') {
        return static_cast<unsigned>(character - '0');
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<unsigned>(character - 'a') + 10U;
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<unsigned>(character - 'A') + 10U;
    }
    return std::nullopt;
}

constexpr std::size_t kEscapeLength = 6;  // \uXXXX

/// The code unit of the \uXXXX escape at the start of the text.
std::optional<unsigned> unicodeEscape(std::string_view text)
{
    if (text.size() < kEscapeLength || text[0] != '\\' || text[1] != 'u') {
        return std::nullopt;
    }
    unsigned unit = 0;
    for (std::size_t i = 2; i < kEscapeLength; ++i) {
        const auto digit = hexDigit(text[i]);
        if (!digit) {
            return std::nullopt;
        }
        unit = unit * 16U + *digit;
    }
    return unit;
}

/// Reads one JSON value after the other off the front of a text.
class JsonScanner {
public:
    explicit JsonScanner(std::string_view text) : rest_(text) {}

    bool wholeValue()
    {
        if (!value(0)) {
            return false;
        }
        skipSpace();
        return rest_.empty();
    }

private:
    static constexpr int kDeepest = 512;  // far beyond what a store takes; bounds the recursion

    bool value(int depth)
    {
        skipSpace();
        if (rest_.empty() || depth > kDeepest) {
            return false;
        }
        switch (rest_.front()) {
        case '{': return members('}', depth);
        case '[': return members(']', depth);
        case '"': return string();
        case 't': return take("true");
        case 'f': return take("false");
        case 'n': return take("null");
        default: return number();
        }
    }

    bool members(char end, int depth)
    {
        rest_.remove_prefix(1);
        skipSpace();
        if (takeOne(end)) {
            return true;
        }
        do {
            if (end == '}') {
                skipSpace();
                if (!string()) {
                    return false;
                }
                skipSpace();
                if (!takeOne(':')) {
                    return false;
                }
            }
            if (!value(depth + 1)) {
                return false;
            }
            skipSpace();
        } while (takeOne(','));
        return takeOne(end);
    }

    // Control characters pass unescaped, as json-c lets them.
    bool string()
    {
        if (!takeOne('"')) {
            return false;
        }
        while (!rest_.empty()) {
            if (takeOne('"')) {
                return true;
            }
            if (rest_.front() != '\\') {
                rest_.remove_prefix(1);
            } else if (unicodeEscape(rest_)) {
                rest_.remove_prefix(kEscapeLength);
            } else if (rest_.size() > 1 && std::string_view("\"\\/bfnrt").find(rest_[1]) != std::string_view::npos) {
                rest_.remove_prefix(2);
            } else {
                return false;
            }
        }
        return false;
    }

    bool number()
    {
        takeOne('-');
        if (!takeOne('0') && !digits()) {
            return false;
        }
        if (takeOne('.') && !digits()) {
            return false;
        }
        if (takeOne('e') || takeOne('E')) {
            if (!takeOne('+')) {
                takeOne('-');
            }
            return digits();
        }
        return true;
    }

    bool digits()
    {
        const std::size_t before = rest_.size();
        while (!rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9') {
            rest_.remove_prefix(1);
        }
        return rest_.size() != before;
    }

    bool take(std::string_view word)
    {
        if (!rest_.starts_with(word)) {
            return false;
        }
        rest_.remove_prefix(word.size());
        return true;
    }

    bool takeOne(char character) { return take(std::string_view(&character, 1)); }

    void skipSpace()
    {
        while (!rest_.empty() && std::string_view(" \t\r\n").find(rest_.front()) != std::string_view::npos) {
            rest_.remove_prefix(1);
        }
    }

    std::string_view rest_;
};

}  // namespace

std::string jsonString(std::string_view text)
{
    std::string out = "\"";
    for (const char character : text) {
        switch (character) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (static_cast<unsigned char>(character) < 0x20U) {
                appendHexEscape(out, static_cast<unsigned char>(character));
            } else {
                out += character;
            }
        }
    }
    out += '"';
    return out;
}

std::string printableJson(std::string_view json)
{
    std::string out;
    out.reserve(json.size());
    while (!json.empty()) {
        const std::size_t length = utf8Length(json);
        if (length == 0) {
            appendHexEscape(out, 0xDC00U + static_cast<unsigned char>(json.front()));
            json.remove_prefix(1);
        } else {
            out += json.substr(0, length);
            json.remove_prefix(length);
        }
    }
    return out;
}

std::string storableJson(std::string_view json)
{
    std::string out;
    out.reserve(json.size());
    const auto keep = [&](std::size_t length) {
        length = length < json.size() ? length : json.size();
        out += json.substr(0, length);
        json.remove_prefix(length);
    };
    while (!json.empty()) {
        if (json.front() != '\\') {
            keep(1);
            continue;
        }
        const auto unit = unicodeEscape(json);
        if (!unit) {
            keep(2);  // an escaped character, perhaps a backslash that hides what follows it
        } else if (*unit >= 0xDC80U && *unit <= 0xDCFFU) {
            out += static_cast<char>(*unit - 0xDC00U);
            json.remove_prefix(kEscapeLength);
        } else {
            const bool high = *unit >= 0xD800U && *unit <= 0xDBFFU;
            const unsigned next = high ? unicodeEscape(json.substr(kEscapeLength)).value_or(0) : 0;
            const bool pair = next >= 0xDC00U && next <= 0xDFFFU;
            keep(pair ? 2 * kEscapeLength : kEscapeLength);
        }
    }
    return out;
}

bool isJson(std::string_view text)
{
    return JsonScanner(text).wholeValue();
}
