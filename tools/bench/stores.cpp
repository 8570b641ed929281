#include "bench/stores.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <json-c/json.h>
#include <map>
#include <memory>
#include <string>

#include "platform/support/ownership.h"
#include "state/factoryStateText.h"
#include "support/failure.h"
#include "support/jsonText.h"
#include "transcript/givenState.h"

namespace fs = std::filesystem;

namespace {

constexpr char kBootTimePath[] = "time.status.bootUpTime";

struct PutObject {
    void operator()(json_object* object) const { json_object_put(object); }
};
using Object = std::unique_ptr<json_object, PutObject>;

[[noreturn]] void refuse(const std::string& what, const std::string& remedy = {})
{
    throw Refused(what + ": " + std::strerror(errno) + (remedy.empty() ? "" : "; " + remedy));
}

/// {"a":{"b":VALUE}} for the path a.b.
std::string documentAt(const std::string& path, const std::string& value)
{
    std::string opening;
    std::string closing;
    for (std::size_t start = 0;;) {
        const std::size_t dot = path.find('.', start);
        opening += "{" + jsonString(path.substr(start, dot - start)) + ":";
        closing += '}';
        if (dot == std::string::npos) {
            return opening + value + closing;
        }
        start = dot + 1;
    }
}

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

std::string firstLine(const fs::path& file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

bool bootTimeIsOurs(const fs::path& record)
{
    const std::string stored = readJson(local::Store::status, kBootTimePath).value_or("");
    return !stored.empty() && stored == firstLine(record);
}

void setBootTime(json_object* status, const fs::path& record)
{
    if (bootTimeIsOurs(record)) {
        local::unset(local::Store::status, kBootTimePath);  // that of an earlier run
    }
    const std::time_t now = std::time(nullptr);
    std::ofstream(record) << now << '\n';
    json_object_object_add(member(member(status, "time"), "status"), "bootUpTime", json_object_new_int64(now));
}

struct LoadGiven {
    void operator()(const transcript::GivenLeaf& leaf) const
    {
        const auto store = leaf.store == transcript::Store::settings ? local::Store::settings : local::Store::status;
        if (local::updateSilently(store, documentAt(leaf.path, leaf.json).c_str()) != 0) {
            refuse("the area '" + leaf.path + "' is refused by the store" +
                   (errno == EEXIST ? ", which has a leaf where the state has a branch, or the reverse" : ""));
        }
    }
    void operator()(const transcript::GivenFactory& item) const { putFactoryItem(item.key, item.text); }
    template <class Other>
    void operator()(const Other& /*other*/) const
    {
    }
};

using Leaves = std::vector<std::pair<std::string, std::string>>;

void addLeaves(json_object* value, const std::string& path, Leaves& leaves)
{
    if (json_object_is_type(value, json_type_object) == 0) {
        leaves.emplace_back(
            path, json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE));
        return;
    }
    json_object_object_foreach(value, name, member)
    {
        addLeaves(member, path.empty() ? name : path + "." + name, leaves);
    }
}

std::string textOf(const JsonToken& token)
{
    const PlatformText text(token ? json_token_to_string(token.get()) : nullptr);
    if (!text) {
        refuse("a store cannot be read");
    }
    return text.get();
}

/// The leaves of a whole state under "settings.", "status." and "factory.".
using StateLeaves = std::map<std::string, std::string>;

StateLeaves stateLeaves(const std::string& document)
{
    const Leaves leaves = leavesOf(document);
    StateLeaves state{leaves.begin(), leaves.end()};
    state.erase(std::string("status.") + kBootTimePath);
    return state;
}

transcript::Given givenAt(const std::string& path, const std::string& json)
{
    const std::size_t dot = path.find('.');
    const std::string part = path.substr(0, dot);
    const std::string below = path.substr(dot + 1);
    if (part == "factory") {
        const Object text(json_tokener_parse(json.c_str()));
        return transcript::GivenFactory{below, json_object_get_string(text.get())};
    }
    return transcript::GivenLeaf{part == "settings" ? transcript::Store::settings : transcript::Store::status, below,
                                 json};
}

void addDump(json_object* state, const char* name, JsonToken dump)
{
    if (!dump) {
        refuse(std::string("the ") + name + " cannot be read");
    }
    json_object_object_add(state, name, dump.release());
}

}  // namespace

void seedStores(const fs::path& bootRecord)
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

void loadState(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    if (!stream) {
        refuse("the state '" + file.string() + "' cannot be read",
               "name with --state a file that --save wrote, or one of its form");
    }
    try {
        for (const transcript::Given& given : transcript::givenState(storableJson(text))) {
            std::visit(LoadGiven(), given);
        }
    } catch (const std::runtime_error& error) {
        throw Refused("the state '" + file.string() + "': " + error.what() +
                      "; it takes the form of what --save writes");
    }
}

void saveState(const fs::path& file, const fs::path& bootRecord)
{
    const Object state(json_object_new_object());
    addDump(state.get(), "settings", JsonToken(local::dump(local::Store::settings)));
    addDump(state.get(), "status", JsonToken(local::dump(local::Store::status)));
    addDump(state.get(), "factory", JsonToken(local::dumpFactoryData()));
    json_object* time = nullptr;
    json_object* status = nullptr;
    if (bootTimeIsOurs(bootRecord) && json_object_object_get_ex(member(state.get(), "status"), "time", &time) &&
        json_object_object_get_ex(time, "status", &status)) {
        json_object_object_del(status, "bootUpTime");
    }
    const std::string text = json_object_to_json_string_ext(
        state.get(), JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_SPACED | JSON_C_TO_STRING_NOSLASHESCAPE);
    // Beside it first, so that the file is never half a state.
    const fs::path fresh = file.string() + ".new";
    std::ofstream stream(fresh, std::ios::binary);
    stream << printableJson(text) << '\n';
    stream.close();
    std::error_code error;
    if (stream) {
        fs::rename(fresh, file, error);
    }
    if (!stream || error) {
        std::error_code ignored;
        const int reason = error ? error.value() : errno;
        fs::remove(fresh, ignored);
        errno = reason;
        refuse("the state '" + file.string() + "' cannot be written",
               "name with --save a file in a directory that is there and yours");
    }
}

void putSilently(local::Store store, const std::string& path, const std::string& json)
{
    static_cast<void>(local::unset(store, path));
    if (local::updateSilently(store, documentAt(path, json).c_str()) != 0) {
        refuse("the store does not take " + path);
    }
}

void putFactoryItem(const std::string& key, const std::string& text)
{
    if (local::writeFactoryData(key, text) != 0) {
        refuse("the factory data does not take " + key);
    }
}

std::optional<std::string> readJson(local::Store store, const std::string& path)
{
    const JsonToken token(local::readPath(store, path));
    if (!token && errno != 0) {
        return std::nullopt;
    }
    const PlatformText text(token ? json_token_to_string(token.get()) : nullptr);
    return text ? std::string(text.get()) : "null";
}

std::vector<std::string> givenNow()
{
    const std::string document = "{\"settings\":" + textOf(JsonToken(local::dump(local::Store::settings))) +
                                 ",\"status\":" + textOf(JsonToken(local::dump(local::Store::status))) +
                                 ",\"factory\":" + textOf(JsonToken(local::dumpFactoryData())) + "}";
    const StateLeaves now = stateLeaves(document);
    StateLeaves factory = stateLeaves(std::string(factoryStateText()));
    std::vector<std::string> givens;
    const bool onFactory =
        std::all_of(factory.begin(), factory.end(), [&](const auto& leaf) { return now.contains(leaf.first); });
    if (onFactory) {
        givens.emplace_back("given state factory");
    } else {
        factory.clear();
    }
    for (const auto& [path, json] : now) {
        const auto same = factory.find(path);
        if (same == factory.end() || same->second != json) {
            givens.push_back(toLine(givenAt(path, json)));
        }
    }
    return givens;
}

std::vector<std::pair<std::string, std::string>> leavesOf(const std::string& document)
{
    Leaves leaves;
    const Object object(json_tokener_parse(document.c_str()));
    if (json_object_is_type(object.get(), json_type_object) != 0) {
        addLeaves(object.get(), {}, leaves);
    }
    return leaves;
}

std::map<std::string, std::string> factoryItems()
{
    const JsonToken items(local::dumpFactoryData());
    if (!items) {
        refuse("the factory data cannot be read");
    }
    std::map<std::string, std::string> texts;
    json_object_object_foreach(items.get(), key, value)
    {
        texts[key] = json_object_get_string(value);
    }
    return texts;
}
