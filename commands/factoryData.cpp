#include "commands/factoryData.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include "commands/shellQuote.h"
#include "commands/usages.h"
#include "console/argumentText.h"
#include "console/dispatcher.h"
#include "platform/commandRunner.h"
#include "platform/factoryData.h"
#include "platform/store.h"
#include "platform/support/jsonTemplate.h"
#include "platform/support/report.h"
#include "serial/replyWriter.h"

namespace {

using MacText = FixedText<64>;

constexpr std::size_t kMacGroups = 6;

MacText replaced(std::string_view text, char from, char to)
{
    MacText result;
    for (const char character : text) {
        result.append(character == from ? to : character);
    }
    return result;
}

std::size_t countPieces(std::string_view text, char separator)
{
    std::size_t count = 0;
    while (!nextPiece(text, separator).empty()) {
        ++count;
    }
    return count;
}

// False, with errno set, when the tool was not run or did not end with success.
bool writeFactoryItem(const char* key, std::string_view value)
{
    FixedText<256> command;
    const bool fits = command.format("/mnt/mtd/bin/factory_tool -w %s ", key) && appendWord(command, value);
    if (!fits) {
        errno = E2BIG;
        return false;
    }
    const int status = lsystem(command.c_str());
    if (status > 0) {
        errno = EIO;
    }
    return status == 0;
}

bool storeLiveMac(const char* address)
{
    Document document;
    return fill(document, textLeaf<"network.eth0.macAddr">, address) && user_status_update(document.c_str()) == 0;
}

}  // namespace

PlatformText readFactoryItem(const char* key)
{
    char* text = nullptr;
    const int result = factory_read_data(key, &text);
    PlatformText item(text);
    return result == 0 ? std::move(item) : nullptr;
}

int writeMacCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/, const char* key)
{
    const std::string_view typed(args);
    // The groups themselves are the factory tool's to check.
    if (typed.size() > MacText::kMaxSize || countPieces(typed, '-') != kMacGroups) {
        return refuse(line);
    }
    if (!writeFactoryItem(key, replaced(typed, '-', ':').view())) {
        return 1;
    }
    const PlatformText stored = readFactoryItem(key);
    if (stored == nullptr) {
        return 1;
    }
    const std::string_view whole(line);
    const std::string_view firstWord = whole.substr(0, whole.find(' '));
    uartReply("%.*s %s\r\n", static_cast<int>(firstWord.size()), firstWord.data(),
              replaced(stored.get(), ':', '-').c_str());
    if (!storeLiveMac(stored.get())) {
        uartReply("user_status_update\r\n");
    }
    return 1;
}

int writeSerialNumberCommand(const char* line, const char* name, const char* args, int /*fromEvent*/, const char* key)
{
    if (*args == '\0') {
        return refuse(line);
    }
    if (!writeFactoryItem(key, args)) {
        reportSystemError("factory_write_data");
        return 1;
    }
    if (const PlatformText stored = readFactoryItem(key)) {
        uartReply("%s %s\r\n", name, stored.get());
    }
    return 1;
}

int writeProductIdCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/, const char* key)
{
    if (*args == '\0') {
        return refuse(line);
    }
    if (!writeFactoryItem(key, args)) {
        reportSystemError("factory_write_data");
        return 1;
    }
    // Kept: the typed text is answered, not what the tool made of it; the provisioning station compares the echo.
    return uartReply("%s\r\n", args);
}

int readMacCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/, const char* key)
{
    if (*args != '\0') {
        return refuse(line);
    }
    const PlatformText stored = readFactoryItem(key);
    if (stored == nullptr) {
        return 1;
    }
    MacText dashed;
    std::string_view rest(stored.get());
    for (std::size_t group = 1; group <= kMacGroups; ++group) {
        const std::string_view piece = nextPiece(rest, ':');
        if (piece.empty()) {
            break;
        }
        dashed.append(piece);
        if (group < kMacGroups) {
            // Kept: also behind the last group of an address with too few, by which the provisioning station sees it.
            dashed.append('-');
        }
    }
    return uartReply("%s\r\n", dashed.c_str());
}

int readFactoryTextCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/, const char* key)
{
    if (*args != '\0') {
        return refuse(line);
    }
    if (const PlatformText stored = readFactoryItem(key)) {
        uartReply("%s\r\n", stored.get());
    }
    return 1;
}

namespace {

constexpr char kToolFailed[] = "the tool fails or the item cannot be read back";

std::vector<UsageRun> factoryTool(const CommandEntry& row)
{
    return {{std::string("/mnt/mtd/bin/factory_tool -w ") + row.jsonTemplate + " {written}"}};
}

Usage writeMacUsage(const CommandEntry& row)
{
    UsageField mac = usage::text("mac", 0, 0, "six groups with \"-\" between them; the tool checks them");
    mac.example = "02-00-5E-10-00-02";
    return {
        .forms = {{.argument = "{mac}",
                   .effect = "Writes the address.",
                   .fields = {mac, usage::text("word", 0, 0, "the line up to its first blank, such as the name"),
                              usage::text("written", 0, 0, "the address with \":\", quoted for the shell"),
                              usage::text("stored", 0, 0, "what was read back")},
                   .replies = {{"{word} {stored}\r\n"},
                               {"{word} {stored}\r\nuser_status_update\r\n", "the address in force cannot be stored"},
                               {"", kToolFailed}},
                   .stores = {{.value = usage::quoted("{stored}"),
                               .jsonTemplate = textLeaf<"network.eth0.macAddr">,
                               .inStatusStore = true}},
                   .runs = factoryTool(row),
                   .answersUnstored = true}}};
}

UsageForm writeItemForm(const CommandEntry& row, std::vector<UsageReply> replies)
{
    return {.argument = "{text}",
            .effect = "Writes the item.",
            .fields = {usage::text("text", 1), usage::text("written", 0, 0, "the text, quoted for the shell"),
                       usage::text("stored", 0, 0, "what was read back")},
            .replies = std::move(replies),
            .runs = factoryTool(row)};
}

Usage writeSerialNumberUsage(const CommandEntry& row)
{
    return {.forms = {writeItemForm(row, {{usage::answer(row, "{stored}")}, {"", kToolFailed}})}};
}

Usage writeProductIdUsage(const CommandEntry& row)
{
    return {.forms = {writeItemForm(row, {{"{text}\r\n"}, {"", "the tool fails"}})}};
}

Usage readItemUsage(const CommandEntry& /*row*/)
{
    UsageForm form = usage::bare("Answers the item.", {{"{stored}\r\n"}, {"", "it is not there"}});
    form.fields = {usage::text("stored")};
    return {.forms = {form}};
}

Usage readMacUsage(const CommandEntry& row)
{
    Usage usage = readItemUsage(row);
    usage.forms[0].effect = "Answers the address with \"-\" between its groups.";
    return usage;
}

}  // namespace

void describeFactoryData(UsageList& list)
{
    list.push_back({writeMacCommand, writeMacUsage});
    list.push_back({writeSerialNumberCommand, writeSerialNumberUsage});
    list.push_back({writeProductIdCommand, writeProductIdUsage});
    list.push_back({readMacCommand, readMacUsage});
    list.push_back({readFactoryTextCommand, readItemUsage});
}
