#include "platform/local/documentPath.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "platform/local/jsonTree.h"

namespace local {

namespace {

// Past a placeholder that templates are filled with: false, true, 0, 0.000, "", null or {}; null for any other value.
const char* skipPlaceholder(const char* at)
{
    for (const char* word : {"false", "true", "null", "\"\"", "{}"}) {
        const std::size_t length = std::strlen(word);
        if (std::strncmp(at, word, length) == 0) {
            return at + length;
        }
    }
    if (*at != '0') {
        return nullptr;
    }
    ++at;
    if (at[0] == '.' && at[1] == '0') {
        at += 1 + std::strspn(at + 1, "0");
    }
    return at;
}

}  // namespace

bool isKey(std::string_view key)
{
    return !key.empty() && key.find('.') == std::string_view::npos;
}

bool DocumentPath::parse(const char* document)
{
    if (document != nullptr && (parsePlain(document) || parseAny(document))) {
        return true;
    }
    errno = EINVAL;
    return false;
}

// The shape that every filled template has, read without allocating: half the cost of the SQLite read behind it, where
// json-c takes two and a half times that. Whatever is not exactly this shape is left to json-c.
bool DocumentPath::parsePlain(const char* document)
{
    constexpr std::size_t kMaxDepth = 16;
    const char* at = document;
    std::size_t size = 0;
    std::size_t depth = 0;
    while (at[0] == '{' && at[1] == '"') {
        at += 2;
        const std::size_t length = std::strcspn(at, "\"\\.");
        if (length == 0 || at[length] != '"' || at[length + 1] != ':' || size + length + 1 > sizeof plain_ ||
            ++depth > kMaxDepth) {
            return false;
        }
        if (size > 0) {
            plain_[size++] = '.';
        }
        std::memcpy(plain_ + size, at, length);
        size += length;
        at += length + 2;
    }
    at = depth > 0 ? skipPlaceholder(at) : nullptr;
    if (at == nullptr) {
        return false;
    }
    for (std::size_t level = 0; level < depth; ++level) {
        if (at[level] != '}') {
            return false;
        }
    }
    path_ = std::string_view(plain_, size);
    return true;
}

bool DocumentPath::parseAny(const char* document)
{
    const JsonObject root(json_tokener_parse(document));
    if (json_object_is_type(root.get(), json_type_object) == 0) {
        return false;
    }
    any_.clear();
    json_object* here = root.get();
    while (json_object_is_type(here, json_type_object) != 0 && json_object_object_length(here) > 0) {
        if (json_object_object_length(here) > 1) {
            return false;
        }
        json_object_iterator member = json_object_iter_begin(here);
        const char* key = json_object_iter_peek_name(&member);
        if (!isKey(key)) {
            return false;
        }
        if (!any_.empty()) {
            any_ += '.';
        }
        any_ += key;
        here = json_object_iter_peek_value(&member);
    }
    path_ = any_;
    return true;
}

}  // namespace local
