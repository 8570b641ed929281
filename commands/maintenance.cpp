#include "commands/maintenance.h"

#include <cstdlib>
#include <string_view>
#include <unistd.h>

#include "console/argumentText.h"
#include "console/peerCall.h"
#include "console/sourceName.h"
#include "core/consoleParameter.h"
#include "platform/commandRunner.h"
#include "platform/store.h"
#include "platform/support/report.h"

namespace {

constexpr useconds_t kRebootDelayUs = 3'000'000;  // the slave controller reads its notice meanwhile

void setDebug(const char* jsonTemplate, bool on)
{
    uartReply("debug %s\r\n", on ? "on" : "off");  // first, so that it stands before what the logger then prints
    Document document;
    if (!fill(document, jsonTemplate, on) || user_status_update(document.c_str()) != 0) {
        logStoreFailure();  // Kept: logged under the settings store's name, though the flag is live state
    }
    lsystem(on ? "/mnt/mtd/bin/apploggertool -a console debug" : "/mnt/mtd/bin/apploggertool -d");
}

}  // namespace

int updateCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                  const char* /*jsonTemplate*/)
{
    const bool inProgress = readStatusBool(boolLeaf<"system.update.progressEvent.isOn">).value_or(false);
    printError("\033[1;31;36m[%s][%s][%d] isOn=%d \033[0m \r\n", kHandlerSource, "UserZoneFwUpdate", __LINE__,
               inProgress ? 1 : 0);
    if (!inProgress) {
        if (*args != '\0') {
            return refuse(line);
        }
        callPeer(service::system, "sshUpdate", "On");
    }
    return uartReply("%s\r\n", line);
}

int rebootCommand(const char* line, const char* name, const char* args, int /*fromEvent*/, const char* /*jsonTemplate*/)
{
    if (*args == '\0') {
        uartReply("%s\r\n", name);
        publishReported(topic::upgradeQuery, "Sys Reboot\r",
                        "publishEvent(UpgradeSlaveVersionQuery SYSTEM_CMD_REQ_DEFAULT!)");
    } else {
        refuse(line);
    }
    // Kept: a refused Reboot reboots all the same. Service scripts append words to it and rely on the restart.
    usleep(kRebootDelayUs);
    lsystem("reboot");
    return 1;
}

int debugCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/, const char* jsonTemplate)
{
    const std::string_view word(args);
    if (word == "on") {
        setDebug(jsonTemplate, true);
    } else if (word == "off") {
        setDebug(jsonTemplate, false);
    } else if (word == "MCU") {
        callPeer(service::microcontroller, "debugMCU", "On");
        uartReply("%s\r\n", line);
    } else {
        refuse(line);
    }
    return 1;
}

int runDebugToggle(const DebugToggleRules& rules, const CommandCall& call)
{
    if (*call.args != '\0') {
        return refuse(call.line);
    }
    // Kept: the hub's row has no leaf, so its flag is neither found nor stored and the mode is entered every time.
    // Service engineers type it to be sure that the logger runs.
    const bool enter = !readBool(call.jsonTemplate).value_or(false);
    uartReply("%s\r\n", enter ? rules.entering : rules.leaving);
    Document document;
    const bool whole = fill(document, call.jsonTemplate, enter);
    [[maybe_unused]] const bool stored = storeDocument(document, whole);  // a failure changes nothing of what follows
    // Kept: no leading slash, unlike `debug`; the daemon is started in the root folder.
    lsystem(enter ? "mnt/mtd/bin/apploggertool -a console debug" : "mnt/mtd/bin/apploggertool -d");
    return 1;
}

int usbSwitchCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                     const char* /*jsonTemplate*/)
{
    constexpr const char* kRoutes[] = {"Off", "OUTA", "VALENS_UART_UPDATE", "On"};
    // Kept: what is no number is 0 and so selects the local port; installers' scripts send words here.
    const int route = leadingNumber(args);
    if (route < 0 || route >= static_cast<int>(std::size(kRoutes))) {
        return refuse(line);
    }
    callPeer(service::microcontroller, "trigerUsb", kRoutes[route]);
    return uartReply("%s\r\n", line);
}

int sourceChannelCommand(const char* /*line*/, const char* /*name*/, const char* /*args*/, int /*fromEvent*/,
                         const char* /*jsonTemplate*/)
{
    printError("\033[1;31;36m[%s][%s][%d] #### pConsoleParam->sourceType=%d \033[0m \r\n", kHandlerSource,
               "sourceChannelCommand", __LINE__, pConsoleParameterA->sourceType);
    return 1;
}
