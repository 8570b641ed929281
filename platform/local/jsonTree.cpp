#include "platform/local/jsonTree.h"

#include <string>

namespace local {

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
