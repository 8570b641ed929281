#include "platform/local/documentPath.h"

#include <cerrno>

#include "platform/local/jsonTree.h"

namespace local {

bool isKey(std::string_view key)
{
    return !key.empty() && key.find('.') == std::string_view::npos;
}

bool DocumentPath::parse(const char* document)
{
    if (document != nullptr && plain_.parse(document)) {
        path_ = plain_.path();
        return true;
    }
    if (document != nullptr && parseAny(document)) {
        return true;
    }
    errno = EINVAL;
    return false;
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
