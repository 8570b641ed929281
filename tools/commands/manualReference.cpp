#include "serial/lineIntake.h"
#include "tools/commands/references.h"
#include "tools/commands/wording.h"

namespace {

constexpr char kHead[] =
    R"(.\" Generated from the command table and the handlers.
.TH RECEIVER-COMMANDS 7 "" "Receiver console" "Receiver console"
.na
.nh
.SH NAME
receiver-commands \- the console commands of the receiver
.SH DESCRIPTION
The consoles at the RS-232 port and at the link
.RB ( externalComd (8))
take one command a line.
A line ends with CR or LF and has at most %LINE% bytes; further ones are dropped.
Blanks before the name are passed over.
The first command below whose name begins the line runs.
Upper and lower case differ.
Blanks between name and argument may be more, or left out, where nothing else is said.
.PP
A line that no form fits is answered
.RI \(dqCommand\ FAILED:\ ( line )\(dq.
Answers end with CR LF where nothing else is said.
What cannot be stored is answered by nothing, where nothing else is said.
.PP
Words in italics stand for a value: typed, answered or stored.
.SH COMMANDS
)";

constexpr char kFoot[] =
    R"(.SH FILES
.TP
.I /usr/share/doc/receiver\-console/commands.json
The same for programs.
.SH SEE ALSO
.BR externalComd (8),
.BR platformctl (1),
.BR receiver-bench (1)
)";

std::string escapedText(std::string_view text)
{
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        switch (character) {
        case '\\': escaped += "\\e"; break;
        case '-': escaped += "\\-"; break;
        case '"': escaped += "\\(dq"; break;
        case '\'': escaped += "\\(aq"; break;
        case '`': escaped += "\\(ga"; break;
        case '~': escaped += "\\(ti"; break;
        case '^': escaped += "\\(ha"; break;
        case '\r': break;
        case '\t': escaped += ' '; break;
        default: escaped += character;
        }
        // Where a path or a document may be broken.
        const bool joint = character == '.' || character == ':' || character == ',';
        if (joint && i + 1 < text.size() && text[i + 1] != ' ') {
            escaped += "\\:";
        }
    }
    return escaped.starts_with('.') ? "\\&" + escaped : escaped;
}

// A pattern with its fields in italics, the rest in `font`.
std::string pattern(std::string_view text, const char* font)
{
    std::string result;
    forPieces(
        text,
        [&](std::string_view plain) {
            if (!plain.empty()) {
                result += std::string("\\f") + font + escapedText(plain) + "\\fR";
            }
        },
        [&](std::string_view field) { result += "\\fI" + std::string(field) + "\\fR"; });
    return result;
}

// Paragraphs of sentences, with fields in italics.
std::string prose(std::string_view text)
{
    return pattern(text, "R") + '\n';
}

void addReply(std::string& page, const UsageReply& reply)
{
    const std::string condition = reply.when.empty() ? "" : ", when " + reply.when;
    if (reply.text.empty()) {
        page += ".br\nAnswer: none" + prose(condition + '.');
        return;
    }
    std::string text = reply.text;
    while (text.ends_with('\n') || text.ends_with('\r')) {
        text.pop_back();
    }
    if (text.find('\n') == std::string::npos) {
        page += ".br\nAnswer: " + pattern(text, "B") + prose(condition);
        return;
    }
    page += ".br\nAnswer" + prose(condition + ':') + ".RS\n.nf\n";
    for (std::size_t end = text.find('\n'); !text.empty(); end = text.find('\n')) {
        page += pattern(text.substr(0, end), "B") + '\n';
        text.erase(0, end == std::string::npos ? end : end + 1);
    }
    page += ".fi\n.RE\n";
}

void addForm(std::string& page, const CommandDescription& command, const UsageForm& form)
{
    page += ".TP\n" + pattern(typedForm(command, form), "B") + '\n' + prose(formWording(command, form));
    for (const UsageReply& reply : form.replies) {
        addReply(page, reply);
    }
    for (const UsageField& field : form.fields) {
        page += ".br\n\\fI" + field.name + "\\fR: " + prose(fieldWording(field));
        if (!field.meanings.empty()) {
            std::string list;
            for (std::size_t i = 0; i < field.meanings.size(); ++i) {
                const std::string value =
                    field.values.empty() ? std::to_string(field.lowest + static_cast<int>(i)) : field.values[i];
                list += (list.empty() ? "" : ", ") + value + " " + field.meanings[i];
            }
            page += prose("(" + list + ")");
        }
    }
}

void addCommand(std::string& page, const CommandDescription& command)
{
    page += ".SS " + escapedText(command.name) + '\n';
    for (const UsageForm& form : command.usage.forms) {
        addForm(page, command, form);
    }
    std::string rest;
    for (const CommandEntry* row : command.rows) {
        if (const auto leaf = settingLeaf(row->jsonTemplate)) {
            rest += "Setting: " + escapedText(leaf->path) + ", " + leaf->type + ".\n";
        } else if (*row->jsonTemplate != '\0') {
            rest += std::string("Factory item: ") + row->jsonTemplate + ".\n";
        }
    }
    for (const std::string& sentence : commandWording(command)) {
        rest += prose(sentence);
    }
    if (*command.row().help != '\0') {
        rest += "Built\\-in help: " + escapedText(command.row().help) + '\n';
    }
    page += (command.usage.forms.empty() || rest.empty() ? "" : ".PP\n") + rest;
}

}  // namespace

std::string commandsAsManualPage()
{
    std::string page = kHead;
    const std::string place = "%LINE%";
    page.replace(page.find(place), place.size(), std::to_string(kLineCapacity - 1));
    for (const CommandDescription& command : commandDescriptions()) {
        addCommand(page, command);
    }
    return page + kFoot;
}
