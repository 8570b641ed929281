#include "bench/factoryState.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <json-c/json.h>
#include <memory>
#include <string>

#include "platform/local/local.h"
#include "platform/support/ownership.h"
#include "support/failure.h"

namespace {

constexpr char kBootTimePath[] = "time.status.bootUpTime";

struct PutObject {
    void operator()(json_object* object) const { json_object_put(object); }
};
using Object = std::unique_ptr<json_object, PutObject>;

/// What of `wanted` is not in `present`; null when nothing is missing. A leaf where a branch is wanted, and the
/// reverse, is somebody's own choice and stays.
Object missing(json_object* wanted, json_object* present)
{
    Object result(json_object_new_object());
    json_object_object_foreach(wanted, key, value)
    {
        json_object* there = nullptr;
        if (!json_object_object_get_ex(present, key, &there)) {
            json_object_object_add(result.get(), key, json_object_get(value));
        } else if (json_object_is_type(value, json_type_object) && json_object_is_type(there, json_type_object)) {
            if (Object below = missing(value, there)) {
                json_object_object_add(result.get(), key, below.release());
            }
        }
    }
    return json_object_object_length(result.get()) == 0 ? nullptr : std::move(result);
}

[[noreturn]] void refuse(const std::string& what)
{
    throw Refused(what + ": " + std::strerror(errno));
}

void seedStore(local::Store store, json_object* wanted, const char* name)
{
    const JsonToken present(local::dump(store));
    if (!present) {
        refuse(std::string("the ") + name + " store cannot be read");
    }
    const Object absent = missing(wanted, present.get());
    if (absent && local::update(store, json_object_to_json_string_ext(absent.get(), JSON_C_TO_STRING_PLAIN)) != 0) {
        refuse(std::string("the ") + name + " store cannot be written");
    }
}

void seedFactoryData(json_object* wanted)
{
    const JsonToken present(local::dumpFactoryData());
    if (!present) {
        refuse("the factory data cannot be read");
    }
    json_object_object_foreach(wanted, key, value)
    {
        if (!json_object_object_get_ex(present.get(), key, nullptr) &&
            local::writeFactoryData(key, json_object_get_string(value)) != 0) {
            refuse("the factory data cannot be written");
        }
    }
}

json_object* member(json_object* object, const char* name)
{
    json_object* value = nullptr;
    if (!json_object_object_get_ex(object, name, &value) || !json_object_is_type(value, json_type_object)) {
        throw Refused(std::string("tools/factoryState.json has no object '") + name + "'; mend it and build again");
    }
    return value;
}

std::string textAt(local::Store store, const char* path)
{
    const JsonToken token(local::readPath(store, path));
    const PlatformText text(token ? json_token_to_string(token.get()) : nullptr);
    return text ? text.get() : "";
}

std::string firstLine(const std::filesystem::path& file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

void setBootTime(json_object* status, const std::filesystem::path& record)
{
    const std::string stored = textAt(local::Store::status, kBootTimePath);
    if (!stored.empty() && stored == firstLine(record)) {
        local::unset(local::Store::status, kBootTimePath);  // that of an earlier run
    }
    const std::time_t now = std::time(nullptr);
    std::ofstream(record) << now << '\n';
    json_object_object_add(member(member(status, "time"), "status"), "bootUpTime", json_object_new_int64(now));
}

}  // namespace

void seedStores(const std::filesystem::path& bootRecord)
{
    json_tokener* tokener = json_tokener_new();
    const auto text = factoryStateText();
    const Object state(json_tokener_parse_ex(tokener, text.data(), static_cast<int>(text.size())));
    const json_tokener_error error = json_tokener_get_error(tokener);
    json_tokener_free(tokener);
    if (!state) {
        throw Refused(std::string("tools/factoryState.json is no JSON: ") + json_tokener_error_desc(error) +
                      "; mend it and build again");
    }
    setBootTime(member(state.get(), "status"), bootRecord);
    seedStore(local::Store::settings, member(state.get(), "settings"), "settings");
    seedStore(local::Store::status, member(state.get(), "status"), "status");
    seedFactoryData(member(state.get(), "factory"));
}
