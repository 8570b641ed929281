// A document of one leaf, written as filled templates are: nested single-member objects without white space and
// escapes, as in {"control":{"ledMode":true}}. Taken apart in place, without allocating: half the cost of the SQLite
// read behind it, where json-c takes two and a half times that. Every other document is json-c's.
#pragma once

#include <cstddef>
#include <string_view>

namespace local {

class PlainDocument {
public:
    /// False for any other document, be it right or wrong, also when something follows it.
    bool parse(const char* document);

    /// Dotted.
    [[nodiscard]] std::string_view path() const { return {path_, pathSize_}; }
    /// A boolean, null, a number, a text with its quotes, or {}.
    [[nodiscard]] std::string_view value() const { return value_; }
    /// Whether json-c would write the value as it stands here: a boolean, a text, a whole number.
    [[nodiscard]] bool isCanonical() const { return canonical_; }
    [[nodiscard]] std::string_view text() const { return text_; }

private:
    const char* parsePath(const char* at, std::size_t& depth);
    const char* skipValue(const char* at);
    const char* skipNumber(const char* at);

    char path_[256];
    std::size_t pathSize_ = 0;
    std::string_view value_;
    std::string_view text_;
    bool canonical_ = false;
};

}  // namespace local
