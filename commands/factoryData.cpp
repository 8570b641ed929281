#include "commands/factoryData.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include "commands/shellQuote.h"
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
