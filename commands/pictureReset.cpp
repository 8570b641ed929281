#include "commands/pictureReset.h"

#include "commands/settingChange.h"
#include "commands/usages.h"

int pictureResetCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    if (*args != '\0') {
        return refuse(line);
    }
    if (!scalerModeOn()) {
        return uartReply("Command FAILED\r\n");  // Kept: without the line.
    }
    // Each reset has to be a change of the leaf, which carries nothing else.
    const int next = readInt(jsonTemplate).value_or(0) == 0 ? 1 : 0;
    if (changeSetting(announce::video, jsonTemplate, next, 0) && call.wantsReply()) {
        uartReply("%s\r\n", name);
    }
    return 1;
}

namespace {

Usage pictureResetUsage(const CommandEntry& row)
{
    UsageForm form =
        usage::bare("Resets the picture controls.", {{usage::answer(row)}, {"Command FAILED\r\n", usage::kScalerOff}});
    form.stores = {{"{count}"}};
    form.fields = {usage::integer("count", 0, 1, "0 and 1 in turn, so that each reset is a change")};
    return {.forms = {form}};
}

}  // namespace

void describePictureReset(UsageList& list)
{
    list.push_back({pictureResetCommand, pictureResetUsage});
}
