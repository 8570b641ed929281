#include <json-c/json.h>
#include <memory>

#include "serial/lineIntake.h"
#include "tools/commands/references.h"
#include "tools/commands/wording.h"

namespace {

struct Put {
    void operator()(json_object* object) const { json_object_put(object); }
};
using Json = std::unique_ptr<json_object, Put>;

Json object()
{
    return Json(json_object_new_object());
}

void add(const Json& to, const char* key, Json value)
{
    json_object_object_add(to.get(), key, value.release());
}

void add(const Json& to, const char* key, const std::string& text)
{
    json_object_object_add(to.get(), key, json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

void add(const Json& to, const char* key, int number)
{
    json_object_object_add(to.get(), key, json_object_new_int(number));
}

void addFlag(const Json& to, const char* key, bool value)
{
    json_object_object_add(to.get(), key, json_object_new_boolean(value ? 1 : 0));
}

void addUnlessEmpty(const Json& to, const char* key, const std::string& text)
{
    if (!text.empty()) {
        add(to, key, text);
    }
}

Json asJson(const std::string& text)
{
    return Json(json_object_new_string_len(text.data(), static_cast<int>(text.size())));
}

// An array of what `convert` makes of each item; none is left out unless `always`.
template <class List, class Convert>
void addList(const Json& to, const char* key, const List& list, Convert convert, bool always = false)
{
    if (list.empty() && !always) {
        return;
    }
    Json array(json_object_new_array());
    for (const auto& item : list) {
        json_object_array_add(array.get(), convert(item).release());
    }
    add(to, key, std::move(array));
}

Json fieldAsJson(const UsageField& field)
{
    Json json = object();
    add(json, "name", field.name);
    switch (field.kind) {
    case UsageField::Kind::integer: add(json, "type", std::string("integer")); break;
    case UsageField::Kind::address: add(json, "type", std::string("address")); break;
    case UsageField::Kind::text: add(json, "type", std::string(field.values.empty() ? "text" : "word")); break;
    }
    const bool integer = field.kind == UsageField::Kind::integer;
    if (field.highest > field.lowest) {
        add(json, integer ? "minimum" : "minimumBytes", field.lowest);
        add(json, integer ? "maximum" : "maximumBytes", field.highest);
    } else if (field.lowest > 0) {
        add(json, "minimumBytes", field.lowest);
    }
    addList(json, "values", field.values, [integer](const std::string& value) {
        return integer ? Json(json_object_new_int(std::stoi(value))) : asJson(value);
    });
    addList(json, "meanings", field.meanings, asJson);
    if (field.cut) {
        addFlag(json, "cut", true);
    }
    if (field.lenient) {
        addFlag(json, "lenient", true);
    }
    if (field.silent) {
        add(json, "outside", std::string("silence"));
    }
    addUnlessEmpty(json, "example", field.example);
    addUnlessEmpty(json, "remark", field.remark);
    return json;
}

Json replyAsJson(const UsageReply& reply)
{
    Json json = object();
    add(json, "text", reply.text);
    addUnlessEmpty(json, "when", reply.when);
    return json;
}

Json formAsJson(const CommandDescription& command, const UsageForm& form)
{
    Json json = object();
    add(json, "argument", form.argument);
    add(json, "effect", form.effect);
    addList(json, "fields", form.fields, fieldAsJson);
    std::vector<UsageReply> replies = form.replies;
    if (form.needsScaler) {
        replies.push_back({usage::kRefusal, usage::kScalerOff});
    }
    addList(json, "replies", replies, replyAsJson, true);
    if (form.answersUnstored) {
        addFlag(json, "answersUnstored", true);
    }
    if (form.partial) {
        addFlag(json, "partial", true);
    }
    std::vector<std::pair<std::string, std::string>> events;  // topic, condition
    addList(json, "stores", form.stores, [&](const UsageStore& store) {
        Json stored = object();
        const auto leaf = storedLeaf(command, store);
        add(stored, "store", std::string(store.inStatusStore ? "status" : "settings"));
        add(stored, "path", leaf ? leaf->path : "");
        add(stored, "type", leaf ? leaf->type : "");
        add(stored, "json", store.value);
        addUnlessEmpty(stored, "when", store.when);
        const std::string topic = changeTopic(leaf ? leaf->path : "", store.inStatusStore);
        if (events.empty() || events.back().first != topic) {
            events.emplace_back(topic, "the value changes");
        }
        return stored;
    });
    if (form.unchangedTopic != nullptr) {
        events.emplace_back(form.unchangedTopic, "the value is stored already");
    }
    Json list(json_object_new_array());
    for (const auto& [topic, when] : events) {
        Json event = object();
        add(event, "topic", topic);
        add(event, "when", when);
        json_object_array_add(list.get(), event.release());
    }
    for (const UsageEvent& published : form.events) {
        Json event = object();
        add(event, "topic", published.topic);
        add(event, "payload", published.payload);
        json_object_array_add(list.get(), event.release());
    }
    if (json_object_array_length(list.get()) != 0) {
        add(json, "events", std::move(list));
    }
    addList(json, "calls", form.calls, [](const UsageCall& call) {
        Json called = object();
        add(called, "service", call.service);
        add(called, "method", call.method);
        add(called, "argument", call.argument);
        addUnlessEmpty(called, "when", call.when);
        return called;
    });
    addList(json, "runs", form.runs, [](const UsageRun& run) {
        Json started = object();
        add(started, "command", run.command);
        addUnlessEmpty(started, "when", run.when);
        return started;
    });
    return json;
}

std::vector<std::string> instances()
{
    return {"externalComd", "internalComd"};
}

Json commandAsJson(const CommandDescription& command)
{
    Json json = object();
    add(json, "name", command.name);
    addList(json, "argumentWords", command.argumentWords, asJson, true);
    addList(json, "instances", instances(), asJson);
    add(json, "blanks", std::string(command.usage.adjacent ? "none" : command.usage.oneBlank ? "one" : "any"));
    std::vector<SettingLeaf> leaves;
    for (const CommandEntry* row : command.rows) {
        if (const auto leaf = settingLeaf(row->jsonTemplate)) {
            leaves.push_back(*leaf);
        } else {
            addUnlessEmpty(json, "factoryKey", row->jsonTemplate);
        }
    }
    addList(json, "settings", leaves, [](const SettingLeaf& leaf) {
        Json setting = object();
        add(setting, "path", leaf.path);
        add(setting, "type", leaf.type);
        return setting;
    });
    addList(
        json, "forms", command.usage.forms, [&](const UsageForm& form) { return formAsJson(command, form); }, true);
    add(json, "others", std::string(command.usage.refusesOthers ? "refused" : "silence"));
    addList(json, "remarks", command.usage.remarks, asJson);
    add(json, "help", std::string(command.row().help));
    addFlag(json, "helpShown", (command.row().flags & kHiddenFromHelp) == 0);
    addUnlessEmpty(json, "helpRangeDiffers", wrongHelpRange(command));
    return json;
}

}  // namespace

std::string commandsAsJson()
{
    const Json json = object();
    add(json, "refusal", std::string(usage::kRefusal));
    addList(json, "lineEnds", std::vector<std::string>{"\r", "\n"}, asJson);
    add(json, "longestLine", static_cast<int>(kLineCapacity) - 1);
    addList(json, "commands", commandDescriptions(), commandAsJson);
    std::string text = json_object_to_json_string_ext(json.get(), JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_SPACED |
                                                                      JSON_C_TO_STRING_NOSLASHESCAPE);
    return text += '\n';
}
