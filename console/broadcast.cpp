#include "console/broadcast.h"

#include <string_view>

#include "platform/logger.h"
#include "platform/support/settings.h"

int cipProcJson(const char* fragment, const ReportValue& value)
{
    // Only that the mode can be read is asked, not whether it is on: the console also hears that it went off.
    const auto broadcast = readBool(boolLeaf<"system.broadcast">);
    const auto ready = readStatusBool(boolLeaf<"system.slaveMcu.isReady">);
    if (!broadcast || ready != true) {
        return 0;
    }
    // Kept: the gate lets only the broadcast mode itself pass.
    if (std::string_view(boolLeaf<"system.broadcast">).find(fragment) == std::string_view::npos) {
        return 0;
    }
    for (const CommandEntry& entry : kCommandTable) {
        if (std::string_view(entry.jsonTemplate).find(fragment) != std::string_view::npos) {
            entry.reporter(entry.name, value);
            return 0;
        }
    }
    if (__logLevels[5] != 0) {
        __printLog(5, "[%s][%d] Cant find command\r\n", "cipProcJson", __LINE__);
    }
    return 0;
}
