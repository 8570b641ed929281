#include "serial/lineRouter.h"

#include <cstring>
#include <string_view>

#include "platform/lpc.h"
#include "platform/support/report.h"

namespace {

void sendCharacter(char character, const char* label)
{
    const char text[2] = {character, '\0'};
    if (lpc_proxy_call("wpcmdd", "receiveWpCmdd", text) != 0) {
        reportSystemError(label);
    }
}

void forwardHandshake(const char* line)
{
    printOut("[%s], line = %s, strlen(line) = %zu \r\n", "cb_linehandler", line, std::strlen(line));
    for (const char* at = line; *at != '\0'; ++at) {
        sendCharacter(*at, "lpc_proxy_call, receiveWpCmdd");
    }
    sendCharacter('\r', "lpc_proxy_call receiveWpCmdd");  // Kept: no comma, it tells the two apart in a log.
}

}  // namespace

int isWpCmdd(const char* line)
{
    printError("\033[1;31;36m[%s][%d] line:%s\033[0m\n", "isWpCmdd", __LINE__, line);
    const std::string_view text(line);
    const int isWp = text.starts_with("WP_") || text.starts_with("]$") || text.starts_with("COMMAND FAIL") ? 1 : 0;
    printError("\033[1;31;36m[%s][%d] isWp:%d\033[0m\n", "isWpCmdd", __LINE__, isWp);
    return isWp;
}

void cb_linehandler(LineRouter& router, const char* line, std::size_t length, char terminator)
{
    switch (router.record.sourceType) {
    case kInternalHdbtLink:
        if (isWpCmdd(line) != 0) {
            forwardHandshake(line);
            return;
        }
        if (g_connect9001Count.load(std::memory_order_relaxed) != 0) {
            return;  // it reaches the client on port 9001 as part of the burst
        }
        break;
    case kExternalConsole: break;
    default: return;
    }

    if (router.zone.takeLine(line, length, terminator)) {
        return;
    }
    if (length != 0) {
        router.dispatch(0, line, static_cast<int>(std::strlen(line)));
    }
}
