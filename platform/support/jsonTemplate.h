// JSON templates: nested single-member objects without white space whose innermost member holds a placeholder, %d for
// an integer, a bare %s for a boolean and "%s" for a text. Filled with a blank leaf a template is a query; filled with
// a value it is the update document and the event payload.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/support/fixedText.h"

/// A path usable as a template argument.
template <std::size_t N>
struct PathText {
    char text[N];
    constexpr PathText(const char (&literal)[N])  // NOLINT(google-explicit-constructor): a literal is a path
    {
        for (std::size_t i = 0; i < N; ++i) {
            text[i] = literal[i];
        }
    }
};

namespace detail {

template <PathText path, PathText placeholder>
constexpr auto makeTemplate()
{
    constexpr std::size_t pathLength = sizeof path.text - 1;
    constexpr std::size_t levels = [] {
        std::size_t count = 1;
        for (const char character : path.text) {
            count += character == '.' ? 1U : 0U;
        }
        return count;
    }();
    // Each level adds {"": and } around its key, the dots go.
    struct {
        char text[pathLength - (levels - 1) + levels * 5 + (sizeof placeholder.text - 1) + 1] = {};
    } result;
    std::size_t at = 0;
    const auto put = [&](std::string_view piece) {
        for (const char character : piece) {
            result.text[at++] = character;
        }
    };
    put("{\"");
    for (std::size_t i = 0; i < pathLength; ++i) {
        if (path.text[i] == '.') {
            put("\":{\"");
        } else {
            result.text[at++] = path.text[i];
        }
    }
    put("\":");
    put(std::string_view(placeholder.text, sizeof placeholder.text - 1));
    for (std::size_t level = 0; level < levels; ++level) {
        put("}");
    }
    return result;
}

template <PathText path, PathText placeholder>
inline constexpr auto kTemplate = makeTemplate<path, placeholder>();

}  // namespace detail

/// boolLeaf<"control.ledMode"> is {"control":{"ledMode":%s}}.
template <PathText path>
inline constexpr const char* boolLeaf = detail::kTemplate<path, "%s">.text;
/// intLeaf<"video.colorSetting.brt"> is {"video":{"colorSetting":{"brt":%d}}}.
template <PathText path>
inline constexpr const char* intLeaf = detail::kTemplate<path, "%d">.text;
/// textLeaf<"system.model"> is {"system":{"model":"%s"}}.
template <PathText path>
inline constexpr const char* textLeaf = detail::kTemplate<path, "\"%s\"">.text;

/// The buffer for one document where no other size is asked for. A document that does not fit is never sent.
using Document = FixedText<256>;

// fill() replaces the text by the template with the value in place of its placeholders, taken from the first to the
// last; a template without a placeholder is copied. Texts are escaped as JSON asks, slashes excepted, so a value can
// never end its leaf; bytes that are no UTF-8 stay as they are. False when it did not fit.

namespace detail {
/// One value for one placeholder.
class Leaf {
public:
    // NOLINTBEGIN(google-explicit-constructor): a value is a leaf, so that fill() takes values as they are
    Leaf(bool value) : kind_(Kind::boolean), number_(value ? 1 : 0) {}
    Leaf(int value) : kind_(Kind::integer), number_(value) {}
    Leaf(double value) : kind_(Kind::real), real_(value) {}
    Leaf(const char* text) : kind_(Kind::text), text_(text) {}
    Leaf(std::string_view text) : kind_(Kind::text), text_(text) {}
    // NOLINTEND(google-explicit-constructor)

    enum class Kind { boolean, integer, real, text };
    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] int number() const { return number_; }
    [[nodiscard]] double real() const { return real_; }
    [[nodiscard]] std::string_view text() const { return text_; }

private:
    Kind kind_;
    int number_ = 0;
    double real_ = 0;
    std::string_view text_;
};

/// The template filled into `out`, always terminated; false when it did not fit.
bool fillTemplate(char* out, std::size_t capacity, const char* jsonTemplate, const Leaf* leaves, std::size_t count);
}  // namespace detail

template <std::size_t Capacity, class... Values>
bool fill(FixedText<Capacity>& document, const char* jsonTemplate, Values... values)
{
    const detail::Leaf leaves[] = {detail::Leaf(values)...};
    char text[Capacity];
    const bool whole = detail::fillTemplate(text, Capacity, jsonTemplate, leaves, sizeof...(values));
    document.clear();
    document.append(text);
    return whole;
}
