#include <algorithm>

#include "serial/lineIntake.h"
#include "tools/commands/references.h"
#include "tools/commands/wording.h"

namespace {

constexpr std::size_t kMostTableLines = 2;  // a longer answer stands below the table

constexpr char kIntroduction[] =
    R"(# Commands

What each command accepts, answers, stores and publishes. Generated from the command table and the handlers
(`cmake --build BUILD --target updateCommandReference` writes it anew), and tested: each form below is typed with the
values at the ends of its ranges. The same as JSON is in `commands.json` ([its keys](#the-keys-of-commandsjson)), as a manual
page in receiver-commands(7).

- A line ends with CR or LF and has at most %LINE% bytes; further ones are dropped. Blanks before the name are passed over.
- The first command of the table whose name begins the line runs: upper and lower case differ, and blanks between name and
  argument may be more, or left out, where nothing else is said.
- A line that no form fits is answered `Command FAILED: (LINE)`. Each line of an answer ends with CR LF where nothing else
  is said.
- Both instances, the console at the RS-232 port (`externalComd`) and that at the link (`internalComd`), take all of them.
- *Braces* stand for a value: typed, answered or stored. A table's row with a condition holds when it is met.
- What cannot be stored is answered by nothing, where nothing else is said.

)";

constexpr char kJsonKeys[] =
    R"(## The keys of commands.json

For programs that make a driver out of it. What does not apply is left out; so are flags that are false, but for
`helpShown`. Fields stand in braces in `argument`, `text`, `json`, `payload` and `command`; `{line}` is the whole line.

| In | Key | Value |
|---|---|---|
| the document | `refusal` | the answer to a line that no form fits |
| | `lineEnds` | what ends a line; either does |
| | `longestLine` | bytes of a line without its end; further ones are dropped |
| | `commands` | the commands, in the order of the table: the first whose name begins the line runs |
| a command | `name` | as typed; may hold blanks |
| | `argumentWords` | arguments that are typed as they stand |
| | `instances` | the programs that take the command |
| | `blanks` | between name and argument: `any` number, also none; exactly `one`; `none` |
| | `settings` | the leaves of its rows: `path` and `type` (`boolean`, `integer`, `string` or `array`) |
| | `factoryKey` | the item of the factory data that it answers or writes |
| | `forms` | the ways to type it |
| | `others` | what fits no form: `refused`, or answered by `silence` |
| | `remarks` | sentences |
| | `help` | the built-in help text |
| | `helpShown` | false: "help" does not show it |
| | `helpRangeDiffers` | the range in the help text, when it is not the one that is accepted |
| a form | `argument` | behind the name |
| | `effect` | a sentence |
| | `fields` | what stands in braces |
| | `replies` | `text`, with its line ends, and empty for no answer; `when` |
| | `answersUnstored` | answered also when it could not be stored; else by nothing then |
| | `partial` | what cannot be read is left out of the answer |
| | `stores` | the leaves it writes: `store` (`settings` or `status`), `path`, `type`, `json` the value, `when` |
| | `events` | what is published: `topic`; `when` of a store's change or of a value that was stored already, whose payload is the document; else `payload` |
| | `calls` | local procedure calls: `service`, `method`, `argument`, `when` |
| | `runs` | programs: `command`, `when` |
| a field | `name` | as in the braces |
| | `type` | `integer` in decimal digits, `word` out of `values`, `text`, `address` (IPv4) |
| | `minimum`, `maximum` | of an integer |
| | `minimumBytes`, `maximumBytes` | of a text |
| | `values` | these alone |
| | `meanings` | of the `values`, or of the integers from `minimum` on, in their order |
| | `cut` | a longer text is cut; else it is refused |
| | `lenient` | the number that the text begins with counts, 0 when there is none |
| | `outside` | `silence`: another value is answered by nothing; else it is refused |
| | `example` | a value that will do, where not any text does |
| | `remark` | what else there is to say; a unit |

A reply, a leaf, a call or a program without `when` holds always, unless the condition of another one is met.
)";

std::string escapedForTable(std::string text)
{
    for (std::size_t at = text.find('|'); at != std::string::npos; at = text.find('|', at + 2)) {
        text.insert(at, 1, '\\');
    }
    return text;
}

std::string code(std::string text)
{
    for (std::size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at)) {
        text.erase(at, 1);
    }
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

std::string anchor(const CommandDescription& command)
{
    std::string text;
    for (const char character : command.name) {
        if (character == ' ') {
            text += '-';
        } else if (character == '-' || (character >= '0' && character <= '9') ||
                   (character >= 'a' && character <= 'z')) {
            text += character;
        } else if (character >= 'A' && character <= 'Z') {
            text += static_cast<char>(character - 'A' + 'a');
        }
    }
    return text;
}

bool isLong(const std::string& reply)
{
    return static_cast<std::size_t>(std::count(reply.begin(), reply.end(), '\n')) > kMostTableLines;
}

std::string replyCell(const UsageReply& reply)
{
    const std::string condition = reply.when.empty() ? "" : ", when " + reply.when;
    if (reply.text.empty()) {
        return "nothing" + condition;
    }
    if (isLong(reply.text)) {
        return "see below" + condition;
    }
    std::string cell;
    std::string rest = code(reply.text);
    for (std::size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n')) {
        cell += '`' + rest.substr(0, end) + "`, then ";
        rest.erase(0, end + 1);
    }
    return cell + '`' + rest + '`' + condition;
}

void addForms(std::string& text, const CommandDescription& command)
{
    if (command.usage.forms.empty()) {
        return;
    }
    text += "| Typed | Answered | Effect |\n|---|---|---|\n";
    for (const UsageForm& form : command.usage.forms) {
        std::string answers;
        for (const UsageReply& reply : form.replies) {
            answers += (answers.empty() ? "" : "<br>") + replyCell(reply);
        }
        text += "| `" + escapedForTable(typedForm(command, form)) + "` | " + escapedForTable(answers) + " | " +
                escapedForTable(formWording(command, form)) + " |\n";
    }
    text += '\n';
}

void addFields(std::string& text, const CommandDescription& command)
{
    std::vector<std::string> said;
    std::vector<std::string> named;
    std::string list;
    for (const UsageForm& form : command.usage.forms) {
        for (const UsageField& field : form.fields) {
            const std::string line = "- `{" + field.name + "}`: " + fieldWording(field) + '\n';
            // An answer's field of which nothing is known that its name does not say already.
            const bool plain = field.values.empty() && field.highest <= field.lowest && field.remark.empty();
            if (std::find(said.begin(), said.end(), line) != said.end() ||
                (plain && std::find(named.begin(), named.end(), field.name) != named.end())) {
                continue;
            }
            said.push_back(line);
            named.push_back(field.name);
            list += line;
            for (std::size_t i = 0; i < field.meanings.size(); ++i) {
                const std::string value =
                    field.values.empty() ? std::to_string(field.lowest + static_cast<int>(i)) : field.values[i];
                list += "  - " + value + ": `" + field.meanings[i] + "`\n";
            }
        }
    }
    text += list.empty() ? "" : list + '\n' + "<!-- -->\n\n";
}

void addLongAnswers(std::string& text, const CommandDescription& command)
{
    for (const UsageForm& form : command.usage.forms) {
        for (const UsageReply& reply : form.replies) {
            if (isLong(reply.text)) {
                text += '`' + typedForm(command, form) + "` answers\n\n```\n" + code(reply.text) + "\n```\n\n";
            }
        }
    }
}

void addCommand(std::string& text, const CommandDescription& command)
{
    text += "## " + command.name + "\n\n";
    addForms(text, command);
    addFields(text, command);
    addLongAnswers(text, command);
    for (const CommandEntry* row : command.rows) {
        if (const auto leaf = settingLeaf(row->jsonTemplate)) {
            text += "- Setting: `" + leaf->path + "`, " + leaf->type + ".\n";
        } else if (*row->jsonTemplate != '\0') {
            text += std::string("- Factory item: `") + row->jsonTemplate + "`.\n";
        }
    }
    for (const std::string& sentence : commandWording(command)) {
        text += "- " + sentence + '\n';
    }
    const CommandEntry& row = command.row();
    if (*row.help != '\0') {
        text += std::string("- Built-in help") + ((row.flags & kHiddenFromHelp) != 0 ? " (not shown)" : "") + ": `" +
                row.help + "`\n";
    }
    text += text.ends_with("\n\n") ? "" : "\n";
}

}  // namespace

std::string commandsAsMarkdown()
{
    std::string text = kIntroduction;
    const std::string place = "%LINE%";
    text.replace(text.find(place), place.size(), std::to_string(kLineCapacity - 1));
    for (const CommandDescription& command : commandDescriptions()) {
        text +=
            (&command == &commandDescriptions().front() ? "[" : ",\n[") + command.name + "](#" + anchor(command) + ")";
    }
    text += "\n\n";
    for (const CommandDescription& command : commandDescriptions()) {
        addCommand(text, command);
    }
    return text + kJsonKeys;
}
