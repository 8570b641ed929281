// How a command is typed, what it answers and what it does, for those who tell others: the command reference and the
// bench's completion. Each family describes itself beside its handlers, out of the same records and constants; the
// functions that do so are called by programs on a desk alone, and the linker leaves them out of the daemon.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "console/commandEntry.h"

/// A place in an argument or a reply that stands in braces there, such as {number}.
struct UsageField {
    enum class Kind {
        integer,  // decimal digits, perhaps a sign
        text,
        address,  // IPv4, as inet_aton(3) reads it
    };
    std::string name{};
    Kind kind = Kind::text;
    int lowest = 0;                       // of an integer its value, of a text its bytes
    int highest = 0;                      // no bound when it is not above the lowest
    std::vector<std::string> values{};    // these alone, when there are any
    std::vector<std::string> meanings{};  // of the values, or of the integers from the lowest on: {meaning}
    bool cut = false;                     // a longer text is cut to `highest` bytes; else it is refused
    bool lenient = false;                 // the number that the text begins with counts; 0 when there is none
    bool silent = false;                  // what is out of range is answered by nothing; else it is refused
    std::string example{};                // a value where not any text will do
    std::string remark{};
};

// What a command answers and does. Without a condition it is so always, unless another one's condition holds.
struct UsageReply {
    std::string text{};  // with its line ends; empty: no answer
    std::string when{};
};
struct UsageStore {
    std::string value{};                 // JSON, with fields
    const char* jsonTemplate = nullptr;  // null: the row's own leaf
    bool inStatusStore = false;          // else in the settings
    std::string when{};
};
struct UsageEvent {
    std::string topic{};
    std::string payload{};
};
struct UsageCall {
    std::string service{};
    std::string method{};
    std::string argument{};
    std::string when{};
};
struct UsageRun {
    std::string command{};
    std::string when{};
};

/// One way to type a command.
struct UsageForm {
    std::string argument{};  // behind the name; words as they stand, fields in braces
    std::string effect{};    // a sentence
    std::vector<UsageField> fields{};
    std::vector<UsageReply> replies{};
    std::vector<UsageStore> stores{};
    const char* unchangedTopic = nullptr;  // the command publishes here by itself what the setting held already
    std::vector<UsageEvent> events{};      // beside the store's announcement of a change
    std::vector<UsageCall> calls{};
    std::vector<UsageRun> runs{};
    bool answersUnstored = false;  // answered also when it could not be stored; else by nothing then
    bool partial = false;          // a line or an item of the answer that cannot be read is left out
    bool needsScaler = false;      // refused while the scaler mode is off
};

struct Usage {
    std::vector<UsageForm> forms{};
    bool adjacent = false;               // the argument follows the name without a blank
    bool oneBlank = false;               // exactly one; else any number of blanks, or none
    bool refusesOthers = true;           // what fits no form is answered "Command FAILED: (LINE)"; else by nothing
    std::vector<std::string> remarks{};  // sentences
};

/// What a handler's rows have in common, given for one of them.
struct HandlerUsage {
    CommandHandler handler;
    Usage (*usage)(const CommandEntry& row);
};
using UsageList = std::vector<HandlerUsage>;

// The handlers of this layer.
void describeGroupRows(UsageList& list);
void describeHelp(UsageList& list);

// Pieces of which usages are made.
namespace usage {

inline constexpr char kScalerOff[] = "the scaler mode is off";
inline constexpr char kRefusal[] = "Command FAILED: ({line})\r\n";

UsageField integer(std::string name, int lowest, int highest, std::string remark = {});
UsageField text(std::string name, int lowest = 0, int highest = 0, std::string remark = {});
/// An integer when all of the values are.
UsageField oneOf(std::string name, std::vector<std::string> values);
UsageField address(std::string name);

/// "NAME REST" and the line's end.
std::string answer(const CommandEntry& row, std::string_view rest);
/// A reply that is the name alone.
std::string answer(const CommandEntry& row);
/// {name}
std::string place(std::string_view name);
/// The JSON text of a word, or of a field in braces, which has no characters to escape.
std::string quoted(std::string_view word);

/// "sta" that answers what is stored.
UsageForm status(const CommandEntry& row, UsageField field);
/// The command without an argument.
UsageForm bare(std::string effect, std::vector<UsageReply> replies);

}  // namespace usage
