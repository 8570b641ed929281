#include "platform/local/plainDocument.h"

#include <cstring>

namespace local {

namespace {

constexpr std::size_t kMaxDepth = 16;
// A whole number with more digits may not fit 64 bits.
constexpr std::size_t kMaxDigits = 18;

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

// Characters that stand for themselves, up to the closing quote; null where anything else comes before it.
const char* plainEnd(const char* at)
{
    while (static_cast<unsigned char>(*at) >= 0x20 && *at != '"' && *at != '\\') {
        ++at;
    }
    return *at == '"' ? at : nullptr;
}

}  // namespace

bool PlainDocument::parse(const char* document)
{
    std::size_t depth = 0;
    const char* at = parsePath(document, depth);
    const char* end = at != nullptr ? skipValue(at) : nullptr;
    if (end == nullptr) {
        return false;
    }
    value_ = {at, static_cast<std::size_t>(end - at)};
    for (; depth > 0; --depth) {
        if (*end++ != '}') {
            return false;
        }
    }
    if (*end != '\0') {
        return false;
    }
    text_ = {document, static_cast<std::size_t>(end - document)};
    return true;
}

// Up to the leaf's value; null for another shape.
const char* PlainDocument::parsePath(const char* at, std::size_t& depth)
{
    pathSize_ = 0;
    while (at[0] == '{' && at[1] == '"') {
        at += 2;
        const char* end = plainEnd(at);
        const std::size_t length = end != nullptr ? static_cast<std::size_t>(end - at) : 0;
        if (length == 0 || end[1] != ':' || pathSize_ + length + 1 > sizeof path_ || ++depth > kMaxDepth ||
            std::memchr(at, '.', length) != nullptr) {
            return nullptr;
        }
        if (pathSize_ > 0) {
            path_[pathSize_++] = '.';
        }
        std::memcpy(path_ + pathSize_, at, length);
        pathSize_ += length;
        at = end + 2;
    }
    return depth > 0 ? at : nullptr;
}

const char* PlainDocument::skipValue(const char* at)
{
    canonical_ = true;
    if (*at == '"') {
        const char* end = plainEnd(at + 1);
        return end != nullptr ? end + 1 : nullptr;
    }
    if (*at == '-' || isDigit(*at)) {
        return skipNumber(at);
    }
    struct Word {
        std::string_view text;
        bool canonical;
    };
    for (const Word& word : {Word{"true", true}, {"false", true}, {"null", false}, {"{}", false}}) {
        if (std::strncmp(at, word.text.data(), word.text.size()) == 0) {
            canonical_ = word.canonical;
            return at + word.text.size();
        }
    }
    return nullptr;
}

// Only what the closing brace follows is a number of this shape, so that an exponent is none.
const char* PlainDocument::skipNumber(const char* at)
{
    const bool negative = *at == '-';
    at += negative ? 1 : 0;
    const char* digits = at;
    while (isDigit(*at)) {
        ++at;
    }
    const auto count = static_cast<std::size_t>(at - digits);
    if (count == 0 || (*digits == '0' && count > 1)) {
        return nullptr;
    }
    canonical_ = count <= kMaxDigits && !(negative && *digits == '0');
    if (at[0] == '.' && isDigit(at[1])) {
        canonical_ = false;
        for (++at; isDigit(*at);) {
            ++at;
        }
    }
    return at;
}

}  // namespace local
