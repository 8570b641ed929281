// What the command reference says of every command, put to the command itself: each form with each value at the ends of
// its ranges is answered, stored, published and forwarded as described, what lies outside is refused, and each answer
// that depends on a condition can be had.
#include <algorithm>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <unistd.h>

#include "console/dispatcher.h"
#include "serial/rs232zone.h"
#include "support/capturedReplies.h"
#include "support/quietError.h"
#include "support/recordingPlatform.h"
#include "support/replyForms.h"

#include "tools/commands/commandDescriptions.h"
#include "transcript/text.h"

namespace {

// What was given to system(3), which the recording platform does not see.
std::vector<std::string> g_systemCommands;

}  // namespace

extern "C" {
int __wrap_usleep(useconds_t /*pauseUs*/)
{
    return 0;
}

int __wrap_system(const char* command)
{
    g_systemCommands.emplace_back(command);
    return 0;
}
}

namespace {

using recording::Store;
using Values = std::map<std::string, std::string>;

// A state of the device that commands meet.
struct World {
    const char* name;
    void (*make)();
};

void makeOrdinary()
{
    static const recording::DeviceState factory = [] {
        seedFromFile(FACTORY_STATE);
        return recording::deviceState();
    }();
    recording::resetTo(factory);
    recording::put(Store::settings, "account.users",
                   R"([{"username":"admin","password":"admin"},{"username":"Guest","password":"guest"}])");
    recording::put(Store::status, "video.vidIn.hdmiIn.hdmiIn1.videoTiming.stable", "true");
}

void makeScalerOff()
{
    makeOrdinary();
    recording::put(Store::settings, "video.vidProcess.scaler.scalerMode", "false");
}

void makeEmpty()
{
}

void makeRangesEnd()
{
    makeOrdinary();
    for (const char* band : {"eq63hz", "eq85hz", "eq250hz", "eq1khz", "eq4khz"}) {
        recording::put(Store::settings, std::string("audio.audOut.analogOut1.audioSinkControl.") + band, "15");
    }
    recording::put(Store::settings, "control.displayControl.output1.controlType", "\"ip\"");
    recording::put(Store::settings, "network.telnet.tcpipTimeout", "0");
    recording::put(Store::settings, "system.dbg977", "true");
    recording::put(Store::status, "system.update.progressEvent.isOn", "true");
    recording::setRunStatus(1);
    recording::setPeer("systemd", "sshAddUser", {recording::PeerAnswer::Kind::answers, "fail"});
}

void makeStrange()
{
    makeOrdinary();
    for (const char* band : {"eq63hz", "eq85hz", "eq250hz", "eq1khz", "eq4khz"}) {
        recording::put(Store::settings, std::string("audio.audOut.analogOut1.audioSinkControl.") + band, "-12");
    }
    for (const char* text : {"video.vidIn.hdbtIn.hdbtIn1.hdcpMode", "video.vidIn.hdmiIn.hdmiIn1.hdcpMode",
                             "video.vidIn.hdbtIn.hdbtIn1.preferTiming", "video.vidIn.hdmiIn.hdmiIn1.preferTiming",
                             "video.vidOut.hdmiOut.hdmiOutA.resolution", "network.eth0.bootProto"}) {
        recording::put(Store::settings, text, "\"another\"");
    }
    recording::put(Store::settings, "control.displayControl.output1.controlType", "\"cec\"");
    recording::put(Store::settings, "account.users",
                   R"([{"username":"a","password":"a"},{"username":"b","password":"b"},)"
                   R"({"username":"c","password":"c"},{"username":"d","password":"d"}])");
    recording::setPeer("displayControl", "HexRS232zone", {recording::PeerAnswer::Kind::absent});
}

void makeSilentPeers()
{
    makeOrdinary();
    recording::setPeer("systemd", "sshAddUser", {recording::PeerAnswer::Kind::absent});
}

// The first is the one in which everything works.
constexpr World kWorlds[] = {{"everything works", makeOrdinary},  {"the scaler is off", makeScalerOff},
                             {"nothing is stored", makeEmpty},    {"ranges end", makeRangesEnd},
                             {"values are strange", makeStrange}, {"peers are absent", makeSilentPeers}};

// What a line did.
struct Outcome {
    std::string reply;
    recording::Record record;
    std::vector<std::string> runs;
};

Outcome type(CapturedReplies& replies, const std::string& line)
{
    g_systemCommands.clear();
    recording::take();
    // Pass-through texts are taken before the dispatcher sees a line, and answered once the line is quiet.
    Rs232zone zone;
    if (zone.takeLine(line.c_str(), line.size(), '\r')) {
        zone.finish();
    } else {
        UserCommandHandler(0, line.c_str(), static_cast<int>(line.size()));
    }
    Outcome outcome{replies.take(), recording::take(), {}};
    outcome.runs = outcome.record.runs;
    outcome.runs.insert(outcome.runs.end(), g_systemCommands.begin(), g_systemCommands.end());
    return outcome;
}

bool isNumeric(const std::vector<std::string>& values)
{
    return !values.empty() && std::all_of(values.begin(), values.end(), [](const std::string& value) {
        return value.find_first_not_of("0123456789") == std::string::npos;
    });
}

bool bounded(const UsageField& field)
{
    return field.highest > field.lowest;
}

std::vector<std::string> fittingValues(const UsageField& field)
{
    if (!field.example.empty()) {
        return {field.example};
    }
    if (!field.values.empty()) {
        return field.values;
    }
    switch (field.kind) {
    case UsageField::Kind::integer: {
        std::vector<std::string> values{std::to_string(field.lowest), std::to_string(field.highest),
                                        std::to_string((field.lowest + field.highest) / 2)};
        for (std::size_t i = 0; i < field.meanings.size(); ++i) {
            values.push_back(std::to_string(field.lowest + static_cast<int>(i)));
        }
        return values;
    }
    case UsageField::Kind::address: return {"192.168.7.20", "0.0.0.0", "255.255.255.255"};
    case UsageField::Kind::text: break;
    }
    const auto lowest = static_cast<std::size_t>(field.lowest);
    const auto highest = static_cast<std::size_t>(field.highest);
    if (!bounded(field)) {
        return {std::string(lowest, 'a'), "anything"};
    }
    std::vector<std::string> values{std::string(lowest, 'a'), std::string(highest, 'b')};
    if (field.cut) {
        values.emplace_back(highest + 1, 'c');
        values.emplace_back(highest + 50, 'd');
    }
    return values;
}

std::vector<std::string> unfitValues(const UsageField& field)
{
    std::vector<std::string> values;
    if (!field.values.empty()) {
        for (const std::string& value : field.values) {
            values.push_back(isNumeric(field.values) ? std::to_string(std::stoi(value) + 1) : value + "x");
        }
        std::erase_if(values, [&field](const std::string& value) {
            return std::find(field.values.begin(), field.values.end(), value) != field.values.end();
        });
    } else if (field.kind == UsageField::Kind::integer) {
        values = {std::to_string(field.lowest - 1), std::to_string(field.highest + 1), "99999"};
        if (!field.lenient) {
            for (const char* text : {"x", "1x", "0x1", "1.0", "1 1", "--1", "9999999999", "4294967297"}) {
                values.emplace_back(text);
            }
        }
    } else if (field.kind == UsageField::Kind::address) {
        values = {"256.0.0.1", "1.2.3.4.5", "host"};
    } else if (bounded(field) && !field.cut) {
        values.emplace_back(static_cast<std::size_t>(field.highest) + 1, 'e');
    }
    return values;
}

std::string filled(std::string pattern, const Values& values)
{
    for (const auto& [name, value] : values) {
        const std::string place = '{' + name + '}';
        for (std::size_t at = pattern.find(place); at != std::string::npos;
             at = pattern.find(place, at + value.size())) {
            pattern.replace(at, place.size(), value);
        }
    }
    return pattern;
}

std::string escapedForRegex(const std::string& text)
{
    static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
    return std::regex_replace(text, special, R"(\$&)");
}

// What a place of a pattern may hold whose value the typed line does not tell.
std::string openPlace(const UsageForm& form, const std::string& name)
{
    for (const UsageField& field : form.fields) {
        if (field.name != name) {
            continue;
        }
        if (!field.values.empty()) {
            std::string any;
            for (const std::string& value : field.values) {
                any += (any.empty() ? "(?:" : "|") + escapedForRegex(value);
            }
            return any + ')';
        }
        return field.kind == UsageField::Kind::integer ? "-?[0-9]+" : "[\\s\\S]*";
    }
    return "(?!)";  // nothing
}

bool hasPlaces(const std::string& pattern)
{
    static const std::regex place(R"(\{[A-Za-z]+\})");
    return std::regex_search(pattern, place);
}

bool matches(const UsageForm& form, const Values& values, const std::string& pattern, const std::string& text)
{
    if (const std::string whole = filled(pattern, values); !hasPlaces(whole)) {
        return text == whole;
    }
    std::string expression;
    std::size_t at = 0;
    while (at < pattern.size()) {
        const std::size_t place = std::min(pattern.find('{', at), pattern.size());
        expression += escapedForRegex(pattern.substr(at, place - at));
        const std::size_t end = pattern.find('}', place);
        if (place == pattern.size()) {
            break;
        }
        const std::string name = pattern.substr(place + 1, end - place - 1);
        // A brace of JSON is no place.
        if (name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ") != std::string::npos ||
            name.empty()) {
            expression += "\\{";
            at = place + 1;
            continue;
        }
        const auto known = values.find(name);
        expression += known != values.end() ? escapedForRegex(known->second) : openPlace(form, name);
        at = end + 1;
    }
    return std::regex_match(text, std::regex(expression));
}

using Json = std::unique_ptr<json_object, int (*)(json_object*)>;

void addLeaves(std::map<std::string, std::string>& leaves, const std::string& path, json_object* value)
{
    if (json_object_is_type(value, json_type_object) == 0) {
        leaves[path] = json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
        return;
    }
    json_object_object_foreach(value, key, below)
    {
        addLeaves(leaves, path.empty() ? key : path + '.' + key, below);
    }
}

std::map<std::string, std::string> leavesOf(const std::string& document)
{
    std::map<std::string, std::string> leaves;
    const Json parsed(json_tokener_parse(document.c_str()), json_object_put);
    addLeaves(leaves, {}, parsed.get());
    return leaves;
}

struct StoredLeaf {
    bool inStatusStore;
    std::string path;
    std::string value;
};

std::vector<StoredLeaf> storedLeaves(const recording::Record& record)
{
    std::vector<StoredLeaf> stored;
    for (const recording::Update& update : record.updates) {
        if (update.stored) {
            for (const auto& [path, value] : leavesOf(update.document)) {
                stored.push_back({update.store == Store::status, path, value});
            }
        }
    }
    return stored;
}

const char* templateOf(const CommandDescription& command, const UsageStore& store)
{
    return store.jsonTemplate != nullptr ? store.jsonTemplate : command.row().jsonTemplate;
}

bool hasType(const std::string& json, const std::string& type)
{
    const Json value(json_tokener_parse(json.c_str()), json_object_put);
    const json_type found = json_object_get_type(value.get());
    return (type == "boolean" && found == json_type_boolean) || (type == "integer" && found == json_type_int) ||
           (type == "string" && found == json_type_string) || (type == "array" && found == json_type_array);
}

// Another value of the same type.
std::string differentFrom(const std::string& json)
{
    if (json == "true" || json == "false") {
        return json == "true" ? "false" : "true";
    }
    return json.starts_with('"') ? "\"different\"" : json == "7" ? "8" : "7";
}

std::string lineFor(const CommandDescription& command, const std::string& argument)
{
    const bool blank = !argument.empty() && !command.usage.adjacent;
    return command.name + (blank ? " " : "") + argument;
}

// Some values of all fields in the argument: each field through all of its own, the others at their first.
std::vector<Values> argumentValues(const UsageForm& form)
{
    Values first;
    std::vector<const UsageField*> typed;
    for (const UsageField& field : form.fields) {
        if (form.argument.find('{' + field.name + '}') != std::string::npos) {
            typed.push_back(&field);
            first[field.name] = fittingValues(field).front();
        }
    }
    std::vector<Values> all{first};
    for (const UsageField* field : typed) {
        for (const std::string& value : fittingValues(*field)) {
            Values values = first;
            values[field->name] = value;
            all.push_back(values);
        }
    }
    return all;
}

// {meaning}, and what a cut text becomes.
Values described(const UsageForm& form, Values values, const std::string& line)
{
    for (const UsageField& field : form.fields) {
        const auto typed = values.find(field.name);
        if (typed == values.end()) {
            continue;
        }
        if (field.cut && bounded(field)) {
            typed->second = typed->second.substr(0, static_cast<std::size_t>(field.highest));
        }
        if (!field.meanings.empty() && field.kind == UsageField::Kind::integer) {
            values["meaning"] = field.meanings.at(static_cast<std::size_t>(std::stoi(typed->second) - field.lowest));
        }
    }
    values["line"] = line;
    return values;
}

// A line and what the description says of it.
struct Claim {
    const CommandDescription& command;
    const UsageForm& form;
    std::string line;
    Values values;

    [[nodiscard]] bool fits(const std::string& pattern, const std::string& text) const
    {
        return matches(form, values, pattern, text);
    }
    [[nodiscard]] bool isOpen(const std::string& pattern) const { return hasPlaces(filled(pattern, values)); }
};

// The lines of an answer, or the items of one that separates them otherwise.
std::vector<std::string> itemsOf(std::string text)
{
    std::vector<std::string> items;
    const std::string separator = text.find("%;") != std::string::npos ? "%;" : "\r\n";
    for (std::size_t end = text.find(separator); end != std::string::npos; end = text.find(separator)) {
        items.push_back(text.substr(0, end));
        text.erase(0, end + separator.size());
    }
    items.push_back(text);
    return items;
}

// The answer's items are some of the described ones, in their order.
bool isPartOf(const Claim& claim, const std::string& pattern, const std::string& reply)
{
    const std::vector<std::string> described = itemsOf(pattern);
    auto at = described.begin();
    for (const std::string& item : itemsOf(reply)) {
        at = item.empty()
                 ? at
                 : std::find_if(at, described.end(), [&](const std::string& one) { return claim.fits(one, item); });
        if (at == described.end()) {
            return false;
        }
    }
    return true;
}

std::string show(const std::vector<StoredLeaf>& stored)
{
    std::string text;
    for (const StoredLeaf& leaf : stored) {
        text += (leaf.inStatusStore ? " status " : " settings ") + leaf.path + ' ' + leaf.value;
    }
    return text;
}

class CommandClaims : public testing::Test {
protected:
    static void enter(const World& world)
    {
        static std::map<const World*, recording::DeviceState> made;
        auto known = made.find(&world);
        if (known == made.end()) {
            recording::reset();
            world.make();
            known = made.emplace(&world, recording::deviceState()).first;
        }
        recording::resetTo(known->second);
    }

    void note(const Claim& claim, const std::string& what) { seen_.insert(claim.command.name + what); }

    // In a world where everything works the unconditional answer is given; elsewhere one of them.
    void checkReply(const Claim& claim, const std::string& reply, bool works)
    {
        std::vector<UsageReply> replies = claim.form.replies;
        if (claim.form.needsScaler) {
            replies.push_back({usage::kRefusal, usage::kScalerOff});
        }
        bool answered = false;
        for (const UsageReply& described : replies) {
            const bool part = !works && claim.form.partial && isPartOf(claim, described.text, reply);
            if (part || claim.fits(described.text, reply)) {
                note(claim, claim.form.argument + " answers when " + described.when);
                answered = answered || !works || described.when.empty();
            }
        }
        EXPECT_TRUE(answered) << "reply: " << escaped(reply);
    }

    void checkStores(const Claim& claim, const recording::Record& record, bool works)
    {
        const std::vector<StoredLeaf> stored = storedLeaves(record);
        std::set<std::size_t> met;
        for (const StoredLeaf& leaf : stored) {
            bool claimed = false;
            for (std::size_t i = 0; i < claim.form.stores.size(); ++i) {
                const UsageStore& store = claim.form.stores[i];
                const auto place = settingLeaf(templateOf(claim.command, store));
                if (place && place->path == leaf.path && store.inStatusStore == leaf.inStatusStore &&
                    claim.fits(store.value, leaf.value)) {
                    EXPECT_TRUE(hasType(leaf.value, place->type)) << leaf.path << ' ' << leaf.value;
                    note(claim, claim.form.argument + " stores when " + store.when);
                    met.insert(i);
                    claimed = true;
                }
            }
            EXPECT_TRUE(claimed) << "stored:" << show({leaf});
        }
        for (std::size_t i = 0; works && i < claim.form.stores.size(); ++i) {
            EXPECT_TRUE(met.contains(i) || !claim.form.stores[i].when.empty()) << "stored:" << show(stored);
        }
    }

    void checkCallsAndRuns(const Claim& claim, const Outcome& outcome, bool works)
    {
        std::size_t unconditional = 0;
        for (const recording::Call& call : outcome.record.calls) {
            bool claimed = false;
            for (const UsageCall& described : claim.form.calls) {
                if (described.service == call.service && described.method == call.method &&
                    claim.fits(described.argument, call.params.value_or(""))) {
                    note(claim, claim.form.argument + " calls when " + described.when);
                    claimed = true;
                    unconditional += described.when.empty() ? 1 : 0;
                }
            }
            EXPECT_TRUE(claimed) << "called " << call.service << ' ' << call.method << ' ' << call.params.value_or("");
        }
        for (const std::string& run : outcome.runs) {
            bool claimed = false;
            for (const UsageRun& described : claim.form.runs) {
                if (claim.fits(described.command, run)) {
                    note(claim, claim.form.argument + " runs when " + described.when);
                    claimed = true;
                    unconditional += described.when.empty() ? 1 : 0;
                }
            }
            EXPECT_TRUE(claimed) << "ran " << run;
        }
        if (works) {
            const auto always = [](const auto& described) { return described.when.empty(); };
            const auto count = std::count_if(claim.form.calls.begin(), claim.form.calls.end(), always) +
                               std::count_if(claim.form.runs.begin(), claim.form.runs.end(), always);
            EXPECT_EQ(static_cast<std::size_t>(count), unconditional) << "calls and commands";
        }
    }

    // The change is announced by the store, the rest by the command.
    void checkEvents(const Claim& claim, const recording::Record& record, bool changed)
    {
        std::set<std::string> announced;
        std::vector<std::string> published;
        for (const recording::Event& event : record.events) {
            if (event.from == "publisher") {
                published.push_back(event.topic + ' ' + event.payload.value_or(""));
            } else {
                announced.insert(event.topic);
            }
        }
        std::vector<std::string> expected;
        std::set<std::string> areas;
        if (!changed && claim.form.unchangedTopic != nullptr) {
            ASSERT_FALSE(record.updates.empty() && claim.form.stores.empty());
            std::string payload = published.empty() ? "" : published.front();
            payload.erase(0, std::min(payload.size(), payload.find(' ') + 1));
            for (const UsageStore& store : claim.form.stores) {
                const auto place = settingLeaf(templateOf(claim.command, store));
                EXPECT_EQ(leavesOf(payload)[place->path], filled(store.value, claim.values)) << payload;
            }
            expected.push_back(std::string(claim.form.unchangedTopic) + ' ' + payload);
        }
        for (const UsageEvent& event : claim.form.events) {
            expected.push_back(event.topic + ' ' + filled(event.payload, claim.values));
        }
        if (changed) {
            for (const UsageStore& store : claim.form.stores) {
                const std::string path = settingLeaf(templateOf(claim.command, store))->path;
                areas.insert(path.substr(0, path.find('.')) +
                             (store.inStatusStore ? "StatusConfigChanged" : "UserConfigChanged"));
            }
        }
        EXPECT_EQ(published, expected);
        EXPECT_EQ(announced, areas);
    }

    void checkUnchangedAndChanged(const Claim& claim)
    {
        for (const UsageStore& store : claim.form.stores) {
            if (!store.when.empty() || claim.isOpen(store.value)) {
                return;  // the line alone does not tell what is stored
            }
        }
        for (const UsageStore& store : claim.form.stores) {
            recording::put(store.inStatusStore ? Store::status : Store::settings,
                           settingLeaf(templateOf(claim.command, store))->path,
                           differentFrom(filled(store.value, claim.values)));
        }
        checkEvents(claim, type(*replies_, claim.line).record, true);
        checkEvents(claim, type(*replies_, claim.line).record, false);
    }

    void checkAccepted(const CommandDescription& command, const UsageForm& form, const World& world)
    {
        const bool works = &world == &kWorlds[0];
        for (const Values& values : argumentValues(form)) {
            const std::string line = lineFor(command, filled(form.argument, values));
            const Claim claim{command, form, line, described(form, values, line)};
            SCOPED_TRACE(std::string("where ") + world.name + ": " + line);
            enter(world);
            const Outcome outcome = type(*replies_, line);
            checkReply(claim, outcome.reply, works);
            checkStores(claim, outcome.record, works);
            checkCallsAndRuns(claim, outcome, works);
            if (works) {
                enter(world);
                checkUnchangedAndChanged(claim);
            }
        }
    }

    void checkUnstored(const CommandDescription& command, const UsageForm& form)
    {
        const Values values = argumentValues(form).front();
        const std::string line = lineFor(command, filled(form.argument, values));
        const Claim claim{command, form, line, described(form, values, line)};
        SCOPED_TRACE("where nothing can be stored: " + line);
        enter(kWorlds[0]);
        recording::fail(recording::Fault::update);
        recording::fail(recording::Fault::statusUpdate);
        const Outcome outcome = type(*replies_, line);
        if (form.stores.empty() || form.answersUnstored) {
            checkReply(claim, outcome.reply, false);
        } else {
            EXPECT_EQ(outcome.reply, "");
        }
    }

    // Each answer and effect that is described was seen.
    void checkAllSeen() const
    {
        for (const CommandDescription& command : commandDescriptions()) {
            for (const UsageForm& form : command.usage.forms) {
                const auto expectSeen = [&](const char* what, const std::string& when) {
                    EXPECT_EQ(seen_.count(command.name + form.argument + what + when), 1U)
                        << command.name << ' ' << form.argument << what << when;
                };
                for (const UsageReply& reply : form.replies) {
                    expectSeen(" answers when ", reply.when);
                }
                for (const UsageStore& store : form.stores) {
                    expectSeen(" stores when ", store.when);
                }
                for (const UsageCall& call : form.calls) {
                    expectSeen(" calls when ", call.when);
                }
                for (const UsageRun& run : form.runs) {
                    expectSeen(" runs when ", run.when);
                }
                if (form.needsScaler) {
                    expectSeen(" answers when ", usage::kScalerOff);
                }
            }
        }
    }

    void expectRefused(const std::string& line, bool silent)
    {
        SCOPED_TRACE(line);
        enter(kWorlds[0]);
        const Outcome outcome = type(*replies_, line);
        EXPECT_EQ(outcome.reply, silent ? "" : "Command FAILED: (" + line + ")\r\n");
        EXPECT_EQ(show(storedLeaves(outcome.record)), "");
        EXPECT_TRUE(outcome.record.events.empty());
        EXPECT_TRUE(outcome.record.calls.empty());
        EXPECT_TRUE(outcome.runs.empty());
    }

    std::unique_ptr<CapturedReplies> replies_ = std::make_unique<CapturedReplies>();
    std::set<std::string> seen_;
    const QuietError quiet_;
};

// A form that takes anything, so that nothing is unfit.
bool takesAnyText(const UsageForm& form)
{
    return !form.fields.empty() && form.argument == '{' + form.fields[0].name + '}' &&
           form.fields[0].kind == UsageField::Kind::text && !bounded(form.fields[0]) && form.fields[0].values.empty() &&
           form.fields[0].example.empty();
}

bool takesText(const UsageForm& form)
{
    return !form.fields.empty() && form.argument == '{' + form.fields[0].name + '}' &&
           (form.fields[0].kind == UsageField::Kind::text || form.fields[0].lenient);
}

TEST_F(CommandClaims, holdForEachFormAndEachEndOfItsRanges)
{
    std::size_t forms = 0;
    for (const CommandDescription& command : commandDescriptions()) {
        for (const UsageForm& form : command.usage.forms) {
            ++forms;
            for (const World& world : kWorlds) {
                checkAccepted(command, form, world);
            }
            checkUnstored(command, form);
        }
    }
    EXPECT_GT(forms, 250U);
    for (const char* name : {"help", "techelp"}) {
        for (const char* asked : {"HDCPSet1", "Blinkx", "Nonsense"}) {
            const CommandDescription& command =
                *std::find_if(commandDescriptions().begin(), commandDescriptions().end(),
                              [name](const auto& one) { return one.name == name; });
            const std::string line = lineFor(command, asked);
            checkReply({command, command.usage.forms.at(1), line, {{"name", asked}, {"line", line}}},
                       type(*replies_, line).reply, false);
        }
    }
    checkAllSeen();
}

TEST_F(CommandClaims, holdForBothInstances)
{
    replies_.reset();
    replies_ = std::make_unique<CapturedReplies>(kInternalHdbtLink);
    for (const CommandDescription& command : commandDescriptions()) {
        for (const UsageForm& form : command.usage.forms) {
            checkAccepted(command, form, kWorlds[0]);
        }
    }
}

TEST_F(CommandClaims, refuseWhatLiesOutside)
{
    std::size_t refusals = 0;
    for (const CommandDescription& command : commandDescriptions()) {
        for (const UsageForm& form : command.usage.forms) {
            const Values first = argumentValues(form).front();
            for (const UsageField& field : form.fields) {
                if (!first.contains(field.name)) {
                    continue;
                }
                for (const std::string& value : unfitValues(field)) {
                    Values values = first;
                    values[field.name] = value;
                    expectRefused(lineFor(command, filled(form.argument, values)), field.silent);
                    ++refusals;
                }
            }
        }
    }
    EXPECT_GT(refusals, 300U);
}

TEST_F(CommandClaims, refuseWhatFitsNoForm)
{
    for (const CommandDescription& command : commandDescriptions()) {
        const auto& forms = command.usage.forms;
        if (std::any_of(forms.begin(), forms.end(), takesAnyText)) {
            continue;
        }
        const auto takesNothing = [](const UsageForm& form) {
            return form.argument.empty() || (takesText(form) && form.fields[0].lowest == 0);
        };
        const bool silent = !command.usage.refusesOthers;
        if (std::none_of(forms.begin(), forms.end(), takesNothing)) {
            expectRefused(command.name, silent);
        }
        if (std::any_of(forms.begin(), forms.end(), takesText)) {
            continue;
        }
        for (const char* argument : {"nonsense", "[", "]", "%s", "-", "ON", "on of f"}) {
            const auto typed = [argument](const std::string& word) { return word == argument; };
            if (std::none_of(command.argumentWords.begin(), command.argumentWords.end(), typed)) {
                expectRefused(lineFor(command, argument), silent);
            }
        }
        for (const std::string& word : command.argumentWords) {
            expectRefused(lineFor(command, word + "x"), silent);
            expectRefused(lineFor(command, word + " "), silent);
        }
    }
}

TEST_F(CommandClaims, holdForAnyNumberOfBlanks)
{
    for (const CommandDescription& command : commandDescriptions()) {
        for (const UsageForm& form : command.usage.forms) {
            if (form.argument.empty()) {
                continue;
            }
            const Values values = argumentValues(form).back();
            for (const std::string& blanks : {std::string(), std::string(3, ' ')}) {
                if (command.usage.adjacent && blanks.empty()) {
                    continue;
                }
                const std::string line = command.name + blanks + filled(form.argument, values);
                if (command.usage.adjacent || command.usage.oneBlank) {
                    expectRefused(line, false);
                    continue;
                }
                const Claim claim{command, form, line, described(form, values, line)};
                SCOPED_TRACE(line);
                enter(kWorlds[0]);
                checkReply(claim, type(*replies_, line).reply, true);
            }
        }
    }
}

// {line} is what was typed, {meaning} belongs to a value.
TEST_F(CommandClaims, describeEachFieldTheyName)
{
    for (const CommandDescription& command : commandDescriptions()) {
        for (const UsageForm& form : command.usage.forms) {
            std::vector<std::string> patterns{form.argument};
            for (const UsageReply& reply : form.replies) {
                patterns.push_back(reply.text);
            }
            for (const UsageStore& store : form.stores) {
                patterns.push_back(store.value);
            }
            for (const UsageCall& call : form.calls) {
                patterns.push_back(call.argument);
            }
            for (const UsageRun& run : form.runs) {
                patterns.push_back(run.command);
            }
            for (const UsageEvent& event : form.events) {
                patterns.push_back(event.payload);
            }
            std::set<std::string> known{"line", "meaning"};
            for (const UsageField& field : form.fields) {
                EXPECT_TRUE(known.insert(field.name).second) << command.name << ": " << field.name << " twice";
            }
            static const std::regex place(R"(\{([A-Za-z]+)\})");
            for (const std::string& pattern : patterns) {
                for (std::sregex_iterator at(pattern.begin(), pattern.end(), place); at != std::sregex_iterator();
                     ++at) {
                    EXPECT_EQ(known.count((*at)[1]), 1U) << command.name << ": " << at->str();
                }
            }
        }
    }
}

TEST_F(CommandClaims, holdForTheHelpTexts)
{
    for (const CommandDescription& command : commandDescriptions()) {
        enter(kWorlds[0]);
        const bool hidden = (command.row().flags & kHiddenFromHelp) != 0;
        EXPECT_EQ(type(*replies_, "help " + command.name).reply, hidden ? "" : std::string(command.row().help) + "\r\n")
            << command.name;
    }
}

}  // namespace
