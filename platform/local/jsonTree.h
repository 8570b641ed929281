// json-c objects as the stores use them: owned, serialised the one way that stands in rows and events, and put
// together from dotted paths.
#pragma once

#include <memory>
#include <string_view>

#include <json-c/json.h>

namespace local {

struct PutJson {
    void operator()(json_object* object) const { json_object_put(object); }
};
using JsonObject = std::unique_ptr<json_object, PutJson>;

/// Without white space, slashes unescaped. Borrowed from the object; "null" for a null one.
std::string_view jsonText(json_object* object);

/// The first complete value of a row's text; null for the value null and for what is no JSON.
JsonObject parseJson(std::string_view text);

/// json-c keeps a number's own text and takes more than JSON has. Has every number in value
/// written as JSON writes it: 1. becomes 1.0. False when one cannot be: NaN and the infinities.
bool normaliseNumbers(json_object* value);

/// Puts value (taken over) at a dotted path below root, making the objects on the way. What of another type stands in
/// the way gives way.
void placeAt(json_object* root, std::string_view path, JsonObject value);

}  // namespace local
