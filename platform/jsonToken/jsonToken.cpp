#include "platform/jsonToken.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <string_view>

#include <json-c/json.h>

namespace {

// An index beyond this is taken for a mistake, not for a wish to fill memory with nulls.
constexpr std::size_t kMaxIndex = 65'535;

// One step of a path: a member's name, or an entry's index.
struct Step {
    std::string_view key = {};
    std::size_t index = 0;
    bool isIndex = false;
};

// Takes a path apart: "account.users[2].username" is account, users, [2], username.
class PathSteps {
public:
    explicit PathSteps(const char* path) : rest_(path != nullptr ? path : "") {}

    // False at the end of the path and when it is malformed, which valid() tells apart.
    bool next(Step& step)
    {
        if (rest_.empty()) {
            valid_ = valid_ && started_;
            return false;
        }
        const bool good = rest_.front() == '[' ? nextIndex(step) : nextKey(step);
        started_ = true;
        valid_ = valid_ && good;
        return good;
    }

    [[nodiscard]] bool valid() const { return valid_; }
    [[nodiscard]] bool atEnd() const { return rest_.empty(); }

private:
    bool nextKey(Step& step)
    {
        if (started_) {
            if (rest_.front() != '.') {
                return false;
            }
            rest_.remove_prefix(1);
        }
        const std::string_view key = rest_.substr(0, rest_.find_first_of(".["));
        rest_.remove_prefix(key.size());
        step = {.key = key};
        return !key.empty();
    }

    bool nextIndex(Step& step)
    {
        std::size_t index = 0;
        std::size_t at = 1;
        for (; at < rest_.size() && std::isdigit(static_cast<unsigned char>(rest_[at])) != 0; ++at) {
            index = index * 10 + static_cast<std::size_t>(rest_[at] - '0');
            if (index > kMaxIndex) {
                return false;
            }
        }
        if (at == 1 || at == rest_.size() || rest_[at] != ']') {
            return false;
        }
        rest_.remove_prefix(at + 1);
        step = {.index = index, .isIndex = true};
        return true;
    }

    std::string_view rest_;
    bool started_ = false;
    bool valid_ = true;
};

// The value behind one step, or null; `here` may be of any type.
json_object* entryAt(json_object* here, const Step& step)
{
    if (step.isIndex) {
        return json_object_is_type(here, json_type_array) != 0 ? json_object_array_get_idx(here, step.index) : nullptr;
    }
    json_object* found = nullptr;
    if (json_object_is_type(here, json_type_object) != 0) {
        json_object_object_get_ex(here, std::string(step.key).c_str(), &found);
    }
    return found;
}

// Puts value behind one step and takes it over, also on failure.
bool putEntry(json_object* here, const Step& step, json_object* value)
{
    const bool put = step.isIndex ? json_object_array_put_idx(here, step.index, value) == 0
                                  : json_object_object_add(here, std::string(step.key).c_str(), value) == 0;
    if (!put) {
        json_object_put(value);
        errno = ENOMEM;
    }
    return put;
}

bool fits(json_object* here, const Step& step)
{
    return json_object_is_type(here, step.isIndex ? json_type_array : json_type_object) != 0;
}

// Stores value at path and takes it over, also on failure.
int walkSet(json_token* token, const char* path, json_object* value)
{
    PathSteps steps(path);
    Step step;
    json_object* here = token;
    int error = EINVAL;
    bool more = value != nullptr && here != nullptr && steps.next(step);
    if (value == nullptr) {
        error = ENOMEM;
    }
    while (more) {
        if (!fits(here, step)) {
            error = EEXIST;
            break;
        }
        if (steps.atEnd()) {
            return putEntry(here, step, value) ? 0 : -1;
        }
        Step after;
        more = steps.next(after);
        json_object* below = entryAt(here, step);
        if (more && below == nullptr) {
            below = after.isIndex ? json_object_new_array() : json_object_new_object();
            if (below == nullptr || !putEntry(here, step, below)) {
                error = ENOMEM;
                break;
            }
        }
        here = below;
        step = after;
    }
    json_object_put(value);
    errno = error;
    return -1;
}

json_object* walkTyped(json_token* token, const char* path, json_type type)
{
    json_object* found = json_token_object_walk_get_token(token, path);
    return json_object_is_type(found, type) != 0 ? found : nullptr;
}

}  // namespace

json_token* json_token_parse(const char* text)
{
    json_object* token = text != nullptr ? json_tokener_parse(text) : nullptr;
    if (token == nullptr) {
        errno = EINVAL;
    }
    return token;
}

json_token* json_token_new_object(void)
{
    json_object* token = json_object_new_object();
    if (token == nullptr) {
        errno = ENOMEM;
    }
    return token;
}

void json_token_ref_put(json_token* token)
{
    json_object_put(token);
}

json_token* json_token_object_walk_get_token(json_token* token, const char* path)
{
    PathSteps steps(path);
    Step step;
    json_object* here = token;
    while (steps.next(step)) {
        here = entryAt(here, step);
    }
    return steps.valid() ? here : nullptr;
}

int json_token_object_walk_get_boolean(json_token* token, const char* path, int fallback)
{
    json_object* found = walkTyped(token, path, json_type_boolean);
    return found != nullptr ? json_object_get_boolean(found) : fallback;
}

int json_token_object_walk_get_int(json_token* token, const char* path, int fallback)
{
    json_object* found = walkTyped(token, path, json_type_int);
    if (found == nullptr) {
        return fallback;
    }
    const int64_t value = json_object_get_int64(found);
    return value >= INT_MIN && value <= INT_MAX ? static_cast<int>(value) : fallback;
}

const char* json_token_object_walk_get_string(json_token* token, const char* path, const char* fallback)
{
    json_object* found = walkTyped(token, path, json_type_string);
    return found != nullptr ? json_object_get_string(found) : fallback;
}

int json_token_object_walk_set_boolean(json_token* token, const char* path, int value)
{
    return walkSet(token, path, json_object_new_boolean(value != 0 ? 1 : 0));
}

int json_token_object_walk_set_int(json_token* token, const char* path, int value)
{
    return walkSet(token, path, json_object_new_int(value));
}

int json_token_object_walk_set_string(json_token* token, const char* path, const char* value)
{
    if (value == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return walkSet(token, path, json_object_new_string(value));
}

int json_token_array_length(const json_token* array)
{
    if (json_object_is_type(array, json_type_array) == 0) {
        return -1;
    }
    return static_cast<int>(json_object_array_length(array));
}

int json_token_array_put(json_token* array, int index, json_token* entry)
{
    if (json_object_is_type(array, json_type_array) == 0 || index < 0 || static_cast<std::size_t>(index) > kMaxIndex) {
        json_object_put(entry);
        errno = EINVAL;
        return -1;
    }
    const Step step{.index = static_cast<std::size_t>(index), .isIndex = true};
    return putEntry(array, step, entry) ? 0 : -1;
}

char* json_token_to_string(const json_token* token)
{
    // json-c keeps the text in the object that it serialises and therefore takes no const one.
    const char* text = json_object_to_json_string_ext(const_cast<json_object*>(token),
                                                      JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
    return text != nullptr ? strdup(text) : nullptr;
}
