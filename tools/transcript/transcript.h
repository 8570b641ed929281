// Transcripts: scenarios of a console session as plain text. tests/transcripts/README.md describes the format.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace transcript {

using Text = std::optional<std::string>;

enum class Store { settings, status };

struct GivenLeaf {
    Store store;
    std::string path;
    std::string json;
};
struct GivenFactory {
    std::string key;
    std::string text;
};
struct GivenPeer {
    enum class Answer { completes, answers, fails, absent, silent };
    std::string service;
    std::string method;
    Answer answer;
    std::string text;
};
struct GivenRunStatus {
    int status;
};
struct GivenLog {
    int level;
    bool on;
};
struct GivenFault {
    std::string kind;  // "query", "update", ...
    Text path;         // of a query
    int times;         // -1: for good
};
using Given = std::variant<GivenLeaf, GivenFactory, GivenPeer, GivenRunStatus, GivenLog, GivenFault>;

struct Event {
    std::string from;  // "settings", "status" or "publisher"
    std::string topic;
    Text payload;
};
struct Call {
    std::string service;
    std::string method;
    Text params;
};

struct StoreCheck {
    Store store;
    std::string path;
    Text json;  // nothing: absent
};
struct LogCheck {
    int level;
    std::string text;
};

struct Step {
    enum class Kind { type, lpc, publish };
    int line = 0;
    std::string source;  // as it stands in the file
    Kind kind = Kind::type;
    std::string bytes;  // typed
    std::string name;   // method or topic
    Text text;          // argument or payload

    std::string replies;
    std::vector<Event> events;
    std::vector<Call> calls;
    std::vector<std::string> runs;
    std::vector<StoreCheck> stores;
    std::vector<std::string> prints;
    std::vector<LogCheck> logs;
};

struct Scenario {
    std::string file;
    int line = 0;
    std::string title;
    bool internalRole = false;
    std::string memoryOnly;  // the first line that needs the platform in memory; empty: none does
    std::vector<std::variant<Given, Step>> items;
};

struct File {
    std::string name;  // below the directory, without its ending
    std::vector<Scenario> scenarios;
    std::string error;  // what is wrong with the file; then it has no scenarios
};

/// All *.transcript files below a directory, in order of their names; with a test suite's name only the file it comes
/// from.
std::vector<File> readAll(const std::filesystem::path& directory, const std::string& suite = {});
/// One file; messages about it and its scenarios call it so.
File readFile(const std::string& name, const std::filesystem::path& path);
/// Files that the content names are looked for in the directory. Throws std::runtime_error with file and line.
File parse(const std::string& name, const std::string& content, const std::filesystem::path& directory = {});

// The lines of a transcript that say what was seen.
std::vector<std::string> replyLines(const std::string& bytes);
std::string toLine(const Event& event);
std::string toLine(const Call& call);
std::string toLine(const Given& given);
/// What was done: "> Blink on".
std::string toLine(const Step& step);

/// JSON without white space and with members sorted by name, to compare by. Throws std::runtime_error for no JSON.
std::string normalised(const std::string& json);

/// A name that a test framework's filters can take.
std::string testName(const std::string& text);

}  // namespace transcript
