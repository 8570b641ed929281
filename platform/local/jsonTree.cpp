#include "platform/local/jsonTree.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace local {

namespace {

std::size_t digitsAt(std::string_view text)
{
    return std::min(text.find_first_not_of("0123456789"), text.size());
}

// RFC 8259, section 6.
bool isJsonNumber(std::string_view text)
{
    text.remove_prefix(text.substr(0, 1) == "-" ? 1 : 0);
    const std::size_t whole = digitsAt(text);
    if (whole == 0 || (whole > 1 && text[0] == '0')) {
        return false;
    }
    text.remove_prefix(whole);
    if (text.substr(0, 1) == ".") {
        text.remove_prefix(1);
        const std::size_t fraction = digitsAt(text);
        if (fraction == 0) {
            return false;
        }
        text.remove_prefix(fraction);
    }
    if (!text.empty() && (text[0] == 'e' || text[0] == 'E')) {
        text.remove_prefix(1);
        text.remove_prefix(!text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0);
        return !text.empty() && digitsAt(text) == text.size();
    }
    return text.empty();
}

bool normaliseDouble(json_object* number)
{
    if (isJsonNumber(jsonText(number))) {
        return true;
    }
    const double value = json_object_get_double(number);
    return std::isfinite(value) && json_object_set_double(number, value) != 0;  // drops the text kept
}

bool normaliseMembers(json_object* branch)
{
    json_object_iterator member = json_object_iter_begin(branch);
    const json_object_iterator end = json_object_iter_end(branch);
    bool good = true;
    for (; good && json_object_iter_equal(&member, &end) == 0; json_object_iter_next(&member)) {
        good = normaliseNumbers(json_object_iter_peek_value(&member));
    }
    return good;
}

bool normaliseEntries(json_object* array)
{
    bool good = true;
    for (std::size_t i = 0; good && i < json_object_array_length(array); ++i) {
        good = normaliseNumbers(json_object_array_get_idx(array, i));
    }
    return good;
}

}  // namespace

bool normaliseNumbers(json_object* value)
{
    switch (json_object_get_type(value)) {
    case json_type_double: return normaliseDouble(value);
    case json_type_array: return normaliseEntries(value);
    case json_type_object: return normaliseMembers(value);
    default: return true;
    }
}

std::string_view jsonText(json_object* object)
{
    if (object == nullptr) {
        return "null";
    }
    std::size_t length = 0;
    const char* text =
        json_object_to_json_string_length(object, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE, &length);
    return text != nullptr ? std::string_view(text, length) : std::string_view();
}

JsonObject parseJson(std::string_view text)
{
    return JsonObject(json_tokener_parse(std::string(text).c_str()));
}

void placeAt(json_object* root, std::string_view path, JsonObject value)
{
    json_object* here = root;
    std::string key;
    for (std::size_t dot = path.find('.'); dot != std::string_view::npos; dot = path.find('.')) {
        key = path.substr(0, dot);
        path.remove_prefix(dot + 1);
        json_object* below = nullptr;
        json_object_object_get_ex(here, key.c_str(), &below);
        if (json_object_is_type(below, json_type_object) == 0) {
            below = json_object_new_object();
            json_object_object_add(here, key.c_str(), below);
        }
        here = below;
    }
    key = path;
    json_object_object_add(here, key.c_str(), value.release());
}

}  // namespace local
