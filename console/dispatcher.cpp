#include "console/dispatcher.h"

#include "console/sourceName.h"
#include "core/consoleParameter.h"
#include "platform/support/report.h"
#include "platform/support/settings.h"
#include "serial/replyWriter.h"

namespace {

const char* skipSpaces(const char* text)
{
    while (*text == ' ') {
        ++text;
    }
    return text;
}

// Nearly every row differs in its first character: a call to compare the rest would cost more than the walk.
bool begins(std::string_view text, const CommandEntry& entry)
{
    const std::size_t length = entry.matchLength();
    if (text.size() < length) {
        return false;
    }
    std::size_t same = 0;
    while (same < length && text[same] == entry.name[same]) {
        ++same;
    }
    return same == length;
}

}  // namespace

const CommandEntry* findCommand(std::string_view text, bool& stopped)
{
    stopped = false;
    for (const CommandEntry& entry : kCommandTable) {
        if (entry.handler == nullptr) {
            stopped = true;
            return nullptr;
        }
        if (begins(text, entry)) {
            return &entry;
        }
    }
    return nullptr;
}

int UserCommandHandler(int /*unused*/, const char* line, int /*length*/)
{
    line = skipSpaces(line);
    printError("\033[1;31;36m[%s][%s][%d] Command=%s \033[0m \n", kHandlerSource, "UserCommandHandler", __LINE__, line);

    bool stopped = false;
    const CommandEntry* entry = findCommand(line, stopped);
    if (stopped) {
        return 1;
    }
    if (entry == nullptr) {
        printError("\033[1;31;36m[%s][%s][%d] FFF FAIL \033[0m \n", kHandlerSource, "UserCommandHandler", __LINE__);
        return refuse(line);
    }

    const char* args = skipSpaces(line + entry->matchLength());
    // Kept: the broadcast mode is read and not used; handlers get 0 whatever it is.
    [[maybe_unused]] const auto broadcast = readBool(boolLeaf<"system.broadcast">);
    printError("\033[1;31;36m[%s][%s][%d] Command=%s \033[0m \n", kHandlerSource, "UserCommandHandler", __LINE__, args);
    printError("\033[1;31;36m[%s][%s][%d] wpIsSuccess=%d \033[0m \n", kHandlerSource, "UserCommandHandler", __LINE__,
               wpIsSuccess.load(std::memory_order_relaxed));
    return entry->handler(line, entry->name, args, 0, entry->jsonTemplate);
}

int refuse(const char* line)
{
    return uartReply("Command FAILED: (%s)\r\n", line);
}
