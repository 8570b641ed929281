#include "transcript/givenState.h"

#include <memory>
#include <stdexcept>
#include <string_view>

#include <json-c/json.h>

#include "state/factoryStateText.h"

namespace transcript {

namespace {

struct PutObject {
    void operator()(json_object* object) const { json_object_put(object); }
};
using Object = std::unique_ptr<json_object, PutObject>;

Object parseObject(const std::string& document)
{
    json_tokener* tokener = json_tokener_new();
    Object value(json_tokener_parse_ex(tokener, document.c_str(), static_cast<int>(document.size()) + 1));
    const json_tokener_error error = json_tokener_get_error(tokener);
    json_tokener_free(tokener);
    if (error != json_tokener_success) {
        throw std::runtime_error(std::string("no JSON: ") + json_tokener_error_desc(error));
    }
    if (json_object_is_type(value.get(), json_type_object) == 0) {
        throw std::runtime_error("no JSON object");
    }
    return value;
}

void addPart(const std::string& part, json_object* members, std::vector<Given>& givens)
{
    if (json_object_is_type(members, json_type_object) == 0) {
        throw std::runtime_error("'" + part + "' is no object");
    }
    json_object_object_foreach(members, name, value)
    {
        if (part == "factory") {
            if (json_object_is_type(value, json_type_string) == 0) {
                throw std::runtime_error(std::string("the factory item '") + name + "' is no string");
            }
            givens.emplace_back(GivenFactory{name, json_object_get_string(value)});
        } else {
            if (*name == '\0' || std::string_view(name).find('.') != std::string_view::npos) {
                throw std::runtime_error(std::string("'") + name +
                                         "' is no area; a name holds no dot and is not empty");
            }
            const Store store = part == "settings" ? Store::settings : Store::status;
            givens.emplace_back(GivenLeaf{store, name, normalised(json_object_to_json_string(value))});
        }
    }
}

}  // namespace

std::vector<Given> givenState(const std::string& document)
{
    const Object state = parseObject(document);
    std::vector<Given> givens;
    json_object_object_foreach(state.get(), part, members)
    {
        const std::string name = part;
        if (name != "settings" && name != "status" && name != "factory") {
            throw std::runtime_error("a state has the objects settings, status and factory, not '" + name + "'");
        }
        addPart(name, members, givens);
    }
    return givens;
}

std::vector<Given> givenFactoryState()
{
    return givenState(std::string(factoryStateText()));
}

}  // namespace transcript
