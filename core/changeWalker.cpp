#include "core/changeWalker.h"

#include <json-c/json.h>

#include "console/broadcast.h"
#include "platform/support/fixedText.h"

namespace {

// A notice that would be longer is cut and then matches nothing.
using Notice = FixedText<512>;

// What a leaf's place holds in the notice; null for a leaf that is passed over.
const char* placeholder(json_object* leaf)
{
    switch (json_object_get_type(leaf)) {
    case json_type_boolean: return "%s";
    case json_type_int: return "%d";
    case json_type_string: return "%s";
    default: return nullptr;
    }
}

ReportValue valueOf(json_object* leaf)
{
    switch (json_object_get_type(leaf)) {
    case json_type_boolean: return ReportValue::boolean(json_object_get_boolean(leaf) != 0);
    case json_type_string: return ReportValue::text(json_object_get_string(leaf));
    default: return ReportValue::integer(json_object_get_int(leaf));
    }
}

void noticeMember(const char* prefix, const char* key, json_object* leaf)
{
    const char* place = placeholder(leaf);
    if (place == nullptr) {
        return;
    }
    Notice notice;
    if (json_object_is_type(leaf, json_type_string)) {
        notice.format("%s{\"%s\":\"%s\"", prefix, key, place);  // Kept: no brace closes a text.
    } else {
        notice.format("%s{\"%s\":%s}", prefix, key, place);
    }
    cipProcJson(notice.c_str(), valueOf(leaf));
}

void noticeValue(const char* prefix, json_object* value)
{
    const char* place = placeholder(value);
    if (place == nullptr) {
        return;
    }
    Notice notice;
    notice.format("{\"%s\":%s}", prefix, place);
    cipProcJson(notice.c_str(), valueOf(value));
}

}  // namespace

void walkChange(json_token* document, const char* prefix, bool top)
{
    if (!json_object_is_type(document, json_type_object)) {
        noticeValue(prefix, document);
        return;
    }
    json_object_object_foreach(document, key, child)
    {
        if (json_object_is_type(child, json_type_object)) {
            Notice longer;
            longer.format("%s{\"%s\":", top ? "" : prefix, key);
            walkChange(child, longer.c_str(), false);
        } else {
            noticeMember(prefix, key, child);
        }
    }
}
