#include "commands/maintenance.h"

#include <cstdlib>
#include <string_view>
#include <unistd.h>

#include "commands/usages.h"
#include "console/argumentText.h"
#include "console/peerCall.h"
#include "console/sourceName.h"
#include "core/consoleParameter.h"
#include "platform/commandRunner.h"
#include "platform/store.h"
#include "platform/support/report.h"

namespace {

constexpr useconds_t kRebootDelayUs = 3'000'000;  // the slave controller reads its notice meanwhile
constexpr char kFactoryReset[] = "Sys Default\r";
constexpr char kUpgradeQueryLabel[] = "publishEvent(UpgradeSlaveVersionQuery SYSTEM_CMD_REQ_DEFAULT!)";
constexpr const char* kUsbRoutes[] = {"Off", "OUTA", "VALENS_UART_UPDATE", "On"};

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
        publishReported(topic::upgradeQuery, "Sys Reboot\r", kUpgradeQueryLabel);
    } else {
        refuse(line);
    }
    // Kept: a refused Reboot reboots all the same. Service scripts append words to it and rely on the restart.
    usleep(kRebootDelayUs);
    lsystem("reboot");
    return 1;
}

int factoryResetCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                        const char* /*jsonTemplate*/)
{
    if (*args != '\0') {
        return refuse(line);
    }
    publishReported(topic::upgradeQuery, kFactoryReset, kUpgradeQueryLabel);
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
    // Kept: what is no number is 0 and so selects the local port; installers' scripts send words here.
    const int route = leadingNumber(args);
    if (route < 0 || route >= static_cast<int>(std::size(kUsbRoutes))) {
        return refuse(line);
    }
    callPeer(service::microcontroller, "trigerUsb", kUsbRoutes[route]);
    return uartReply("%s\r\n", line);
}

int sourceChannelCommand(const char* /*line*/, const char* /*name*/, const char* /*args*/, int /*fromEvent*/,
                         const char* /*jsonTemplate*/)
{
    printError("\033[1;31;36m[%s][%s][%d] #### pConsoleParam->sourceType=%d \033[0m \r\n", kHandlerSource,
               "sourceChannelCommand", __LINE__, pConsoleParameterA->sourceType);
    return 1;
}

namespace {

constexpr char kUpdating[] = "an update is in progress";

Usage updateUsage(const CommandEntry& /*row*/)
{
    UsageForm start = usage::bare("Starts a firmware update; does nothing while one is in progress.", {{"{line}\r\n"}});
    start.calls = {{service::system, "sshUpdate", "On"}};
    return {.forms = {start,
                      {.argument = "{text}",
                       .effect = "Is answered while an update is in progress, and refused else.",
                       .fields = {usage::text("text", 1)},
                       .replies = {{usage::kRefusal}, {"{line}\r\n", kUpdating}}}}};
}

Usage rebootUsage(const CommandEntry& row)
{
    const std::vector<UsageRun> reboot{{"reboot"}};
    UsageForm form = usage::bare("Restarts the device after 3 s.", {{usage::answer(row)}});
    form.events = {{topic::upgradeQuery, "Sys Reboot\r"}};
    form.runs = reboot;
    return {.forms = {form,
                      {.argument = "{text}",
                       .effect = "Is refused, and restarts the device all the same, without notice to others.",
                       .fields = {usage::text("text", 1)},
                       .replies = {{usage::kRefusal}},
                       .runs = reboot}}};
}

Usage factoryResetUsage(const CommandEntry& /*row*/)
{
    UsageForm form = usage::bare("Asks for the factory state.", {{""}});
    form.events = {{topic::upgradeQuery, kFactoryReset}};
    return {.forms = {form}};
}

UsageForm debugForm(const CommandEntry& row, const char* word, const char* value, const char* command)
{
    return {.argument = word,
            .effect = "Switches the log on this console on or off.",
            .replies = {{usage::answer(row, word)}},
            .stores = {{.value = value, .inStatusStore = true}},
            .runs = {{command}},
            .answersUnstored = true};
}

Usage debugUsage(const CommandEntry& row)
{
    return {.forms = {debugForm(row, "on", "true", "/mnt/mtd/bin/apploggertool -a console debug"),
                      debugForm(row, "off", "false", "/mnt/mtd/bin/apploggertool -d"),
                      {.argument = "MCU",
                       .effect = "Switches the microcontroller's debug output on.",
                       .replies = {{"{line}\r\n"}},
                       .calls = {{service::microcontroller, "debugMCU", "On"}}}}};
}

template <const DebugToggleRules& rules>
Usage debugToggleUsage(const CommandEntry& row)
{
    constexpr char kOn[] = "it is on";
    const std::string entering = std::string(rules.entering) + "\r\n";
    UsageForm form = usage::bare("Enters the debug mode.", {{entering}});
    form.runs = {{"mnt/mtd/bin/apploggertool -a console debug"}};
    if (*row.jsonTemplate != '\0') {
        form.effect = "Enters and leaves the debug mode in turn.";
        form.stores = {{"true"}, {.value = "false", .when = kOn}};
        form.answersUnstored = true;
        form.replies.push_back({std::string(rules.leaving) + "\r\n", kOn});
        form.runs.push_back({"mnt/mtd/bin/apploggertool -d", kOn});
    }
    return {.forms = {form}};
}

Usage usbSwitchUsage(const CommandEntry& /*row*/)
{
    UsageField route = usage::integer("route", 0, static_cast<int>(std::size(kUsbRoutes)) - 1);
    route.lenient = true;
    route.meanings.assign(std::begin(kUsbRoutes), std::end(kUsbRoutes));
    return {.forms = {{.argument = "{route}",
                       .effect = "Switches the USB host.",
                       .fields = {route},
                       .replies = {{"{line}\r\n"}},
                       .calls = {{service::microcontroller, "trigerUsb", "{meaning}"}}}}};
}

Usage sourceChannelUsage(const CommandEntry& /*row*/)
{
    return {.forms = {{.argument = "{ignored}",
                       .effect = "Tells on standard error which serial port this instance serves.",
                       .fields = {usage::text("ignored")},
                       .replies = {{""}}}}};
}

}  // namespace

void describeMaintenance(UsageList& list)
{
    list.push_back({updateCommand, updateUsage});
    list.push_back({rebootCommand, rebootUsage});
    list.push_back({factoryResetCommand, factoryResetUsage});
    list.push_back({debugCommand, debugUsage});
    list.push_back({debugToggleCommand<hubDebug>, debugToggleUsage<hubDebug>});
    list.push_back({debugToggleCommand<chip977Debug>, debugToggleUsage<chip977Debug>});
    list.push_back({usbSwitchCommand, usbSwitchUsage});
    list.push_back({sourceChannelCommand, sourceChannelUsage});
}
