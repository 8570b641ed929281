#include "transcript/transcript.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <json-c/json.h>

#include "transcript/givenState.h"
#include "transcript/text.h"

namespace transcript {

namespace {

// The rest of a line, taken apart word by word.
class Words {
public:
    explicit Words(std::string_view rest) : rest_(rest) {}

    [[nodiscard]] bool more() const { return !rest_.empty(); }

    std::string_view next(const char* what)
    {
        const std::string_view word = rest_.substr(0, rest_.find(' '));
        if (word.empty()) {
            throw std::runtime_error(std::string(what) + " is missing");
        }
        rest_.remove_prefix(std::min(rest_.size(), word.size() + 1));
        return word;
    }

    // All that is left, unescaped; "" is an empty text, nothing at all is none.
    Text text()
    {
        const std::string_view rest = std::exchange(rest_, {});
        if (rest.empty()) {
            return std::nullopt;
        }
        return rest == "\"\"" ? std::string() : unescaped(rest);
    }

    // All that is left, as JSON.
    std::string json()
    {
        const std::string_view rest = std::exchange(rest_, {});
        return normalised(unescaped(rest));
    }

    int number(const char* what)
    {
        const std::string_view word = next(what);
        int value = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (error != std::errc() || end != word.data() + word.size()) {
            throw std::runtime_error(std::string(what) + " is no number");
        }
        return value;
    }

    void end() const
    {
        if (more()) {
            throw std::runtime_error("too many words: " + std::string(rest_));
        }
    }

private:
    std::string_view rest_;
};

Store storeOf(std::string_view word)
{
    if (word != "settings" && word != "status") {
        throw std::runtime_error("settings or status expected, not " + std::string(word));
    }
    return word == "settings" ? Store::settings : Store::status;
}

std::string needed(Text text, const char* what)
{
    if (!text) {
        throw std::runtime_error(std::string(what) + " is missing");
    }
    return *text;
}

GivenPeer givenPeer(Words& words)
{
    using Answer = GivenPeer::Answer;
    GivenPeer peer{std::string(words.next("service")), std::string(words.next("method")), Answer::completes, {}};
    const std::string_view how = words.next("answer");
    if (how == "answers") {
        peer.answer = Answer::answers;
        peer.text = needed(words.text(), "answer");
    } else if (how == "fails") {
        peer.answer = Answer::fails;
    } else if (how == "absent") {
        peer.answer = Answer::absent;
    } else if (how == "silent") {
        peer.answer = Answer::silent;
    } else if (how != "completes") {
        throw std::runtime_error("unknown answer " + std::string(how) +
                                 "; it is one of answers TEXT, completes, fails, absent, silent");
    }
    words.end();
    return peer;
}

GivenFault givenFault(Words& words)
{
    static const std::set<std::string_view> kKinds{"update", "status-update", "query",  "publish",
                                                   "call",   "run",           "factory"};
    GivenFault fault{std::string(words.next("call")), {}, -1};
    if (!kKinds.contains(fault.kind)) {
        std::string kinds;
        for (const std::string_view kind : kKinds) {
            kinds += (kinds.empty() ? "" : ", ") + std::string(kind);
        }
        throw std::runtime_error("unknown fault " + fault.kind + "; what can fail is one of " + kinds);
    }
    while (words.more()) {
        Words peek = words;
        const std::string_view word = peek.next("count");
        if (std::isdigit(static_cast<unsigned char>(word[0])) != 0) {
            fault.times = words.number("count");
        } else if (fault.kind == "query" && !fault.path) {
            fault.path = words.next("path");
        } else {
            throw std::runtime_error("unknown fault word " + std::string(word) +
                                     "; given fail takes one of the calls, for query a PATH, and a number of times");
        }
    }
    return fault;
}

class Parser {
public:
    Parser(std::string name, std::filesystem::path directory) : name_(std::move(name)), directory_(std::move(directory))
    {
    }

    void take(int number, const std::string& line)
    {
        number_ = number;
        if (line.empty() || line[0] == '#') {
            return;
        }
        if (line.starts_with("== ")) {
            begin(line.substr(3));
            return;
        }
        if (scenarios_.empty()) {
            throw std::runtime_error("no scenario begun");
        }
        if (line[0] == '>') {
            takeTyped(line);
        } else if (line[0] == '<') {
            takeReply(line);
        } else {
            Words words(line);
            takeWords(line, words.next("keyword"), words);
        }
    }

    std::vector<Scenario> finish()
    {
        for (const Scenario& scenario : scenarios_) {
            if (!hasStep(scenario)) {
                number_ = scenario.line;
                throw std::runtime_error("a scenario without a step");
            }
        }
        return std::move(scenarios_);
    }

    [[nodiscard]] int number() const { return number_; }

private:
    static bool isStep(const std::variant<Given, Step>& item) { return std::holds_alternative<Step>(item); }

    static bool hasStep(const Scenario& scenario)
    {
        return std::any_of(scenario.items.begin(), scenario.items.end(), isStep);
    }

    Scenario& scenario() { return scenarios_.back(); }

    Step& step()
    {
        const auto last = std::find_if(scenario().items.rbegin(), scenario().items.rend(), isStep);
        if (last == scenario().items.rend()) {
            throw std::runtime_error("an expectation before the first step");
        }
        return std::get<Step>(*last);
    }

    void begin(const std::string& title)
    {
        if (!titles_.insert(testName(title)).second) {
            throw std::runtime_error("a title that stands here twice: " + title);
        }
        Scenario& added = scenarios_.emplace_back();
        added.file = name_;
        added.line = number_;
        added.title = title;
    }

    Step& addStep(const std::string& source, Step::Kind kind)
    {
        Step added;
        added.line = number_;
        added.source = source;
        added.kind = kind;
        scenario().items.emplace_back(std::move(added));
        return step();
    }

    void takeTyped(const std::string& line)
    {
        const bool raw = line.starts_with(">>");
        const std::size_t mark = raw ? 2 : 1;
        if (line.size() > mark && line[mark] != ' ') {
            throw std::runtime_error("a blank must follow " + line.substr(0, mark));
        }
        const std::string bytes = line.size() > mark ? unescaped(std::string_view(line).substr(mark + 1)) : "";
        addStep(line, Step::Kind::type).bytes = raw ? bytes : bytes + '\r';
    }

    void takeReply(const std::string& line)
    {
        const std::string_view text(line);
        if (text == "< nothing") {
            step();
        } else if (text == "<" || text.starts_with("< ")) {
            step().replies += unescaped(text.substr(std::min<std::size_t>(2, text.size()))) + "\r\n";
        } else if (text == "<lf" || text.starts_with("<lf ")) {
            step().replies += unescaped(text.substr(std::min<std::size_t>(4, text.size()))) + "\n";
        } else if (text.starts_with("<raw ")) {
            step().replies += unescaped(text.substr(5));
        } else {
            throw std::runtime_error("not a reply line: " + line);
        }
    }

    void takeWords(const std::string& line, std::string_view keyword, Words& words)
    {
        if (keyword == "given") {
            takeGiven(line, words);
        } else if (keyword == "lpc" || keyword == "publish") {
            Step& added = addStep(line, keyword == "lpc" ? Step::Kind::lpc : Step::Kind::publish);
            added.name = words.next(keyword == "lpc" ? "method" : "topic");
            added.text = words.text();
        } else if (keyword == "event") {
            takeEvent(words);
        } else if (keyword == "call") {
            const std::string service(words.next("service"));
            if (service != "none" || words.more()) {
                std::string method(words.next("method"));
                step().calls.push_back({service, std::move(method), words.text()});
            }
        } else if (keyword == "run") {
            const std::string command = needed(words.text(), "command");
            if (command != "none") {
                step().runs.push_back(command);
            }
        } else if (keyword == "store") {
            const Store store = storeOf(words.next("store"));
            std::string path(words.next("path"));
            Words absent = words;
            const bool none = words.more() && absent.next("value") == "absent";
            step().stores.push_back({store, std::move(path), none ? std::nullopt : Text(words.json())});
        } else if (keyword == "print") {
            step().prints.push_back(needed(words.text(), "text"));
        } else if (keyword == "log") {
            const int level = words.number("level");
            step().logs.push_back({level, needed(words.text(), "text")});
            needMemory(line);
        } else {
            throw std::runtime_error("unknown keyword " + std::string(keyword) +
                                     "; a line begins with #, ==, >, >>, <, <lf, <raw, given, lpc, publish, event, "
                                     "call, run, store, print or log");
        }
    }

    void needMemory(const std::string& line)
    {
        if (scenario().memoryOnly.empty()) {
            scenario().memoryOnly = "line " + std::to_string(number_) + ": " + line;
        }
    }

    void takeEvent(Words& words)
    {
        const std::string from(words.next("source"));
        if (from == "none") {
            words.end();
            return;
        }
        if (from != "settings" && from != "status" && from != "publisher") {
            throw std::runtime_error("settings, status or publisher expected, not " + from);
        }
        std::string topic(words.next("topic"));
        step().events.push_back({from, std::move(topic), words.text()});
    }

    void takeGiven(const std::string& line, Words& words)
    {
        const std::string_view what = words.next("what is given");
        if (what == "settings" || what == "status") {
            std::string path(words.next("path"));
            addGiven(GivenLeaf{storeOf(what), std::move(path), words.json()});
        } else if (what == "factory") {
            std::string key(words.next("key"));
            addGiven(GivenFactory{std::move(key), needed(words.text(), "text")});
        } else if (what == "peer") {
            addGiven(givenPeer(words));
        } else if (what == "run") {
            if (words.next("exits") != "exits") {
                throw std::runtime_error("given run exits STATUS");
            }
            addGiven(GivenRunStatus{words.number("status")});
        } else if (what == "log" || what == "nolog") {
            addGiven(GivenLog{words.number("level"), what == "log"});
            needMemory(line);
        } else if (what == "fail") {
            addGiven(givenFault(words));
            needMemory(line);
        } else if (what == "state") {
            takeState(needed(words.text(), "factory or a file's name"));
        } else if (what == "role") {
            takeRole(words.next("role"));
        } else {
            throw std::runtime_error("unknown given " + std::string(what) +
                                     "; what can be given is settings, status, factory, state, role, peer, run, log, "
                                     "nolog or fail");
        }
    }

    // Each area takes the place of what was given of it before.
    void takeState(const std::string& from)
    {
        std::vector<Given> state;
        if (from == "factory") {
            state = givenFactoryState();
        } else {
            const std::filesystem::path file = directory_ / from;
            std::ifstream stream(file, std::ios::binary);
            if (!stream) {
                throw std::runtime_error("cannot read the state " + file.string());
            }
            try {
                state = givenState({std::istreambuf_iterator<char>(stream), {}});
            } catch (const std::runtime_error& error) {
                throw std::runtime_error(file.string() + ": " + error.what());
            }
        }
        for (Given& given : state) {
            addGiven(std::move(given));
        }
    }

    void takeRole(std::string_view role)
    {
        if ((role != "internal" && role != "external") || hasStep(scenario())) {
            throw std::runtime_error("the role is internal or external, from the start");
        }
        scenario().internalRole = role == "internal";
    }

    void addGiven(Given given) { scenario().items.emplace_back(std::move(given)); }

    std::string name_;
    std::filesystem::path directory_;
    int number_ = 0;
    std::vector<Scenario> scenarios_;
    std::set<std::string> titles_;
};

}  // namespace

File parse(const std::string& name, const std::string& content, const std::filesystem::path& directory)
{
    Parser parser(name, directory);
    std::istringstream lines(content);
    try {
        std::string line;
        for (int number = 1; std::getline(lines, line); ++number) {
            parser.take(number, line);
        }
        return {name, parser.finish(), {}};
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(name + ":" + std::to_string(parser.number()) + ": " + error.what());
    }
}

File readFile(const std::string& name, const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    if (!stream) {
        return {name, {}, path.string() + ": cannot be read"};
    }
    try {
        return parse(name, content, path.parent_path());
    } catch (const std::runtime_error& error) {
        return {name, {}, error.what()};
    }
}

std::vector<File> readAll(const std::filesystem::path& directory, const std::string& suite)
{
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (entry.path().extension() == ".transcript") {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    std::vector<File> files;
    for (const auto& path : paths) {
        std::filesystem::path name = path.lexically_relative(directory);
        const std::string file = name.string();
        const std::string below = name.replace_extension().string();
        if (!suite.empty() && testName(below) != suite) {
            continue;
        }
        files.push_back(readFile(file, path));
        files.back().name = below;
    }
    return files;
}

std::vector<std::string> replyLines(const std::string& bytes)
{
    std::vector<std::string> lines;
    std::string_view rest = bytes;
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (end == std::string_view::npos) {
            lines.push_back("<raw " + escaped(line));
        } else if (line.ends_with('\r')) {
            line.remove_suffix(1);
            lines.push_back(line.empty() ? "<" : "< " + escaped(line));
        } else {
            lines.push_back(line.empty() ? "<lf" : "<lf " + escaped(line));
        }
    }
    return lines;
}

namespace {

std::string textWord(const Text& text)
{
    if (!text) {
        return {};
    }
    return text->empty() ? " \"\"" : " " + escaped(*text);
}

}  // namespace

std::string toLine(const Event& event)
{
    return "event " + event.from + " " + event.topic + textWord(event.payload);
}

std::string toLine(const Call& call)
{
    return "call " + call.service + " " + call.method + textWord(call.params);
}

namespace {

const char* word(Store store)
{
    return store == Store::settings ? "settings" : "status";
}

struct GivenLine {
    std::string operator()(const GivenLeaf& leaf) const
    {
        return std::string(word(leaf.store)) + " " + leaf.path + " " + escaped(leaf.json);
    }
    std::string operator()(const GivenFactory& item) const { return "factory " + item.key + textWord(item.text); }
    std::string operator()(const GivenPeer& peer) const
    {
        static constexpr const char* kAnswers[] = {"completes", "answers", "fails", "absent", "silent"};
        const bool answers = peer.answer == GivenPeer::Answer::answers;
        return "peer " + peer.service + " " + peer.method + " " + kAnswers[static_cast<int>(peer.answer)] +
               (answers ? textWord(peer.text) : "");
    }
    std::string operator()(const GivenRunStatus& run) const { return "run exits " + std::to_string(run.status); }
    std::string operator()(const GivenLog& log) const
    {
        return (log.on ? "log " : "nolog ") + std::to_string(log.level);
    }
    std::string operator()(const GivenFault& fault) const
    {
        return "fail " + fault.kind + (fault.path ? " " + *fault.path : "") +
               (fault.times < 0 ? "" : " " + std::to_string(fault.times));
    }
};

}  // namespace

std::string toLine(const Given& given)
{
    return "given " + std::visit(GivenLine(), given);
}

std::string toLine(const Step& step)
{
    switch (step.kind) {
    case Step::Kind::lpc: return "lpc " + step.name + textWord(step.text);
    case Step::Kind::publish: return "publish " + step.name + textWord(step.text);
    case Step::Kind::type: break;
    }
    std::string_view line = step.bytes;
    const bool whole = line.ends_with('\r') && line.find_first_of("\r\n") == line.size() - 1;
    if (whole) {
        line.remove_suffix(1);
    }
    return std::string(whole ? ">" : ">>") + (line.empty() ? "" : " ") + escaped(line);
}

namespace {

std::string plain(json_object* value)
{
    std::size_t length = 0;
    const char* text =
        json_object_to_json_string_length(value, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE, &length);
    return {text, length};
}

// Members in the order of their names: a store keeps no other.
std::string sorted(json_object* value)
{
    if (json_object_is_type(value, json_type_object) == 0) {
        return plain(value);
    }
    std::map<std::string, json_object*> members;
    json_object_object_foreach(value, key, member)
    {
        members[key] = member;
    }
    std::string text;
    for (const auto& [name, held] : members) {
        json_object* quoted = json_object_new_string(name.c_str());
        text += (text.empty() ? "" : ",") + plain(quoted) + ':' + sorted(held);
        json_object_put(quoted);
    }
    return '{' + text + '}';
}

}  // namespace

std::string normalised(const std::string& json)
{
    json_tokener* tokener = json_tokener_new();
    json_object* value = json_tokener_parse_ex(tokener, json.c_str(), static_cast<int>(json.size()) + 1);
    const bool good = json_tokener_get_error(tokener) == json_tokener_success;
    json_tokener_free(tokener);
    std::string text = good ? sorted(value) : "";
    json_object_put(value);
    if (!good) {
        throw std::runtime_error("no JSON: " + json);
    }
    return text;
}

std::string testName(const std::string& text)
{
    std::string name;
    const auto isPlain = [&](std::size_t at) {
        return at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])) != 0;
    };
    const auto add = [&](std::string_view piece) {
        name += (name.empty() || name.back() == '_' ? "" : "_") + std::string(piece);
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (isPlain(at)) {
            name += text[at];
        } else if (text[at] == '+') {
            add("plus");
        } else if (text[at] == '-' && !isPlain(at + 1)) {
            add("minus");
        } else {
            add("");
        }
    }
    while (!name.empty() && name.back() == '_') {
        name.pop_back();
    }
    return name;
}

}  // namespace transcript
