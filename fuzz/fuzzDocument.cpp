// Documents into the bundled engine. The first byte says what for, the document ends at a zero byte:
//   d   a query's path, which the engine reads in two ways that must agree
//   t   the token interface; each further text is a path walked, read, set and read again
//   u   an update of a status store that already holds something; U: of a settings store
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <json-c/json.h>

#include "fuzz/byteReader.h"
#include "fuzz/require.h"
#include "platform/jsonToken.h"
#include "platform/local/documentPath.h"
#include "platform/local/eventWire.h"
#include "platform/local/jsonTree.h"
#include "platform/local/local.h"
#include "platform/store.h"
#include "platform/support/ownership.h"
#include "support/wholeJson.h"

using local::JsonObject;

namespace {

constexpr char kHeld[] = R"({"held":{"leaf":1,"deep":{"text":"x"}}})";
const std::set<std::string> kHeldLeaves{"held.leaf", "held.deep.text"};
const std::set<std::string> kHeldBranches{"held", "held.deep"};
constexpr std::size_t kLongestTopic = 200;
constexpr std::size_t kMostPaths = 32;
constexpr int kDeepestRead = 30;  // a text of more levels is refused; walking makes as many as the path names

bool isObject(json_object* value)
{
    return json_object_is_type(value, json_type_object) != 0;
}

struct Announced {
    std::string topic;
    std::string document;
};

std::vector<Announced>& announced()
{
    static auto& instance = *new std::vector<Announced>;
    return instance;
}

}  // namespace

// In place of local::publish: there is no bus.
int listen(local::Origin origin, const char* topic, std::optional<std::string_view> payload) asm(
    "__wrap__ZN5local7publishENS_6OriginEPKcSt8optionalISt17basic_string_viewIcSt11char_traitsIcEEE");

int listen(local::Origin /*origin*/, const char* topic, std::optional<std::string_view> payload)
{
    announced().push_back({topic, std::string(payload.value_or(""))});
    return 0;
}

namespace {

// Query documents

void checkPath(const std::string& document)
{
    local::DocumentPath plain;
    local::DocumentPath spaced;  // a blank leads past the fast way
    const bool found = plain.parse(document.c_str());
    require(found == spaced.parse((' ' + document).c_str()), "both ways take the same documents", document);
    if (found) {
        require(plain.text() == spaced.text(), "both ways find the same path", document);
        require(plain.text().find("..") == std::string_view::npos && !plain.text().ends_with('.') &&
                    !plain.text().starts_with('.'),
                "no key is empty", document);
    }
}

// Tokens

std::string textOf(const json_token* token)
{
    const PlatformText text(json_token_to_string(token));
    return text != nullptr ? text.get() : "";
}

// How many objects and arrays stand within each other.
int depthOf(json_object* value)
{
    int deepest = 0;
    if (isObject(value)) {
        json_object_object_foreach(value, key, below)
        {
            static_cast<void>(key);
            deepest = std::max(deepest, depthOf(below));
        }
        return deepest + 1;
    }
    if (json_object_is_type(value, json_type_array) != 0) {
        for (std::size_t i = 0; i < json_object_array_length(value); ++i) {
            deepest = std::max(deepest, depthOf(json_object_array_get_idx(value, i)));
        }
        return deepest + 1;
    }
    return deepest;
}

void walk(json_token* document, const char* path)
{
    json_token* found = json_token_object_walk_get_token(document, path);
    const bool isInt = json_object_is_type(found, json_type_int) != 0;
    const bool isText = json_object_is_type(found, json_type_string) != 0;
    const bool isBool = json_object_is_type(found, json_type_boolean) != 0;
    const int number = json_token_object_walk_get_int(document, path, -77);
    require(isInt || number == -77, "what is no integer reads as the fallback", path);
    const int boolean = json_token_object_walk_get_boolean(document, path, 77);
    require(isBool ? boolean == 0 || boolean == 1 : boolean == 77, "what is no boolean reads as the fallback", path);
    const char* text = json_token_object_walk_get_string(document, path, nullptr);
    require(isText == (text != nullptr), "what is no text reads as the fallback", path);
    require((json_token_array_length(found) >= 0) == (json_object_is_type(found, json_type_array) != 0),
            "what is no array has no length", path);
    if (json_token_object_walk_set_int(document, path, 4'711) == 0) {
        require(json_token_object_walk_get_int(document, path, 0) == 4'711, "an integer set is there", path);
    }
    if (json_token_object_walk_set_string(document, path, "a\"b") == 0) {
        require(std::string_view(json_token_object_walk_get_string(document, path, "")) == "a\"b",
                "a text set is there", path);
    }
    if (json_token_object_walk_set_boolean(document, path, 1) == 0) {
        require(json_token_object_walk_get_boolean(document, path, 0) == 1, "a boolean set is there", path);
    }
}

void checkTokens(const std::string& document, ByteReader& input)
{
    JsonToken token(json_token_parse(document.c_str()));
    if (token == nullptr) {
        require(errno == EINVAL, "what is no JSON is told", document);
        token.reset(json_token_new_object());
    }
    // As it is written out: -0e is read as a number that is written -0, which is read as 0.
    token.reset(json_token_parse(textOf(token.get()).c_str()));
    require(token != nullptr, "what is written can be read", document);
    const std::string text = textOf(token.get());
    // A number keeps the spelling it was read with, and the parser takes a few that are not JSON, such as "92.".
    const bool whole = isJson(text);
    const JsonToken again(json_token_parse(text.c_str()));
    require(!whole || (again != nullptr && textOf(again.get()) == text), "a text read back is the same", text);
    for (std::size_t count = 0; count < kMostPaths && !input.empty(); ++count) {
        walk(token.get(), input.text().c_str());
        json_token_array_put(token.get(), static_cast<int>(count), json_object_new_int(1));
    }
    const std::string changed = textOf(token.get());
    require(!whole || isJson(changed), "a changed document is whole JSON", changed);
    if (whole && depthOf(token.get()) <= kDeepestRead) {
        const JsonToken read(json_token_parse(changed.c_str()));
        require(read != nullptr && textOf(read.get()) == changed, "a changed document is read back", changed);
    }
}

// Updates

// What the rules of a store say to a document, and the leaves it names.
class Judgement {
public:
    explicit Judgement(json_object* document, std::string_view topicEnd)
    {
        allowed_ = isObject(document);
        if (!allowed_) {
            return;
        }
        json_object_object_foreach(document, key, value)
        {
            static_cast<void>(value);
            allowed_ = allowed_ && isTopic(key + std::string(topicEnd));
        }
        look(document, {});
    }

    [[nodiscard]] bool allowed() const { return allowed_; }

private:
    static bool isTopic(std::string_view text)
    {
        constexpr std::string_view kCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";
        return text.size() <= kLongestTopic && text.find_first_not_of(kCharacters) == std::string_view::npos &&
               (text[0] < '0' || text[0] > '9');
    }

    void look(json_object* branch, const std::string& prefix)
    {
        json_object_object_foreach(branch, key, value)
        {
            const std::string path = prefix.empty() ? key : prefix + '.' + key;
            allowed_ = allowed_ && *key != '\0' && std::strchr(key, '.') == nullptr;
            if (isObject(value)) {
                allowed_ = allowed_ && !kHeldLeaves.contains(path);
                look(value, path);
            } else {
                allowed_ = allowed_ && !kHeldBranches.contains(path) && isStorable(value);
            }
        }
    }

    // NaN and the infinities, which json-c reads, are no JSON; neither are 1. and 01, but these are numbers.
    bool isStorable(json_object* value)
    {
        switch (json_object_get_type(value)) {
        case json_type_object: {
            bool good = true;
            json_object_object_foreach(value, key, below)
            {
                static_cast<void>(key);
                good = good && isStorable(below);
            }
            return good;
        }
        case json_type_array: {
            bool good = true;
            for (std::size_t i = 0; i < json_object_array_length(value); ++i) {
                good = good && isStorable(json_object_array_get_idx(value, i));
            }
            return good;
        }
        case json_type_double: return isJson(local::jsonText(value)) || std::isfinite(json_object_get_double(value));
        default: return true;
        }
    }

    bool allowed_ = false;
};

bool holds(json_object* stored, json_object* wanted)
{
    if (!isObject(wanted)) {
        return local::jsonText(stored) == local::jsonText(wanted) || json_object_equal(stored, wanted) != 0;
    }
    json_object_object_foreach(wanted, key, value)
    {
        json_object* below = nullptr;
        json_object_object_get_ex(stored, key, &below);
        const bool emptyBranch = isObject(value) && json_object_object_length(value) == 0;
        if (!emptyBranch && !holds(below, value)) {
            return false;
        }
    }
    return true;
}

std::string dumped(local::Store store)
{
    return textOf(JsonToken(local::dump(store)).get());
}

class Store {
public:
    explicit Store(local::Store which) : which_(which), held_((fillFirst(), dumped(which))) {}

    void update(const std::string& document)
    {
        const JsonObject parsed(json_tokener_parse(document.c_str()));
        const bool settings = which_ == local::Store::settings;
        const Judgement judgement(parsed.get(), settings ? "UserConfigChanged" : "StatusConfigChanged");
        // As it is written out again: the parser takes -0e for a number and keeps it as -0, which is read as 0.
        local::normaliseNumbers(parsed.get());
        const JsonObject written(json_tokener_parse(std::string(local::jsonText(parsed.get())).c_str()));
        announced().clear();
        const int result = ask(document);
        require((result == 0) == judgement.allowed(), "an update is taken by the rules alone", document);
        for (const Announced& event : announced()) {
            require(isJson(event.document), "an announcement is whole JSON", event.document);
            const JsonObject news(json_tokener_parse(event.document.c_str()));
            require(isObject(news.get()) && holds(written.get(), news.get()), "an announcement is part of the document",
                    event.document);
        }
        if (result != 0) {
            require(announced().empty(), "a refused update announces nothing", document);
        } else {
            checkStored(document, written.get());
        }
        if (!announced().empty()) {
            empty(parsed.get());
        }
        require(dumped(which_) == held_, "what an update does not name stays", document);
    }

private:
    int ask(const std::string& document)
    {
        return which_ == local::Store::settings ? user_config_update(document.c_str())
                                                : user_status_update(document.c_str());
    }

    void fill() { require(ask(kHeld) == 0, "the store takes what it is to hold"); }

    void fillFirst()
    {
        announced().clear();
        fill();
        require(announced().size() == 1, "announcements are seen");
    }

    void checkStored(const std::string& document, json_object* written)
    {
        const JsonToken stored(local::dump(which_));
        require(isJson(textOf(stored.get())), "what is stored is whole JSON", document);
        require(holds(stored.get(), written), "what was taken is there", document);
        const std::size_t changes = announced().size();
        require(ask(document) == 0 && announced().size() == changes, "the same again changes nothing", document);
    }

    void empty(json_object* parsed)
    {
        json_object_object_foreach(parsed, area, value)
        {
            static_cast<void>(value);
            local::unset(which_, area);
        }
        fill();
    }

    local::Store which_;
    std::string held_;
};

// A directory in memory, for as long as the process.
class StoreDirectory {
public:
    StoreDirectory()
    {
        std::string name =
            (std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path().string()) +
            "/fuzzDocument.XXXXXX";
        require(::mkdtemp(name.data()) != nullptr, "a directory for the stores", name);
        path_ = name;
        ::setenv("PLATFORM", ("local:" + name).c_str(), 1);
    }
    ~StoreDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    StoreDirectory(const StoreDirectory&) = delete;
    StoreDirectory& operator=(const StoreDirectory&) = delete;

private:
    std::filesystem::path path_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static const StoreDirectory directory;
    static Store status(local::Store::status);
    static Store settings(local::Store::settings);
    ByteReader input(bytes, size);
    const char purpose = input.next();
    const std::string document = input.text();
    switch (purpose) {
    case 'd': checkPath(document); break;
    case 't': checkTokens(document, input); break;
    case 'u': status.update(document); break;
    case 'U': settings.update(document); break;
    default: break;
    }
    return 0;
}
