#include "console/help.h"

#include <span>
#include <string_view>
#include <unistd.h>

#include "console/dispatcher.h"
#include "console/usage.h"
#include "serial/replyWriter.h"

namespace {

// The lists name command families, not rows, and a few names that no row bears. Kept as they are: control systems read
// them.
constexpr const char* kUserList[] = {
    "Blink",    "CommaWait", "DispBtn", "HDMIAUD", "help",     "InputStatus", "IPCFG",     "IPDHCP",
    "IPStatic", "Lock",      "LRAUD",   "Mreset",  "RelayAct", "RHostName",   "RS232zone", "SHostName",
    "Status",   "Type",      "Unlock",  "Version", "VOUT",     "VOUTMute",    "x1AVx2",
};

constexpr const char* kTechnicalList[] = {
    "APwrOffTime", "Aspect",      "ASwFstTime",  "ASwOutTime", "AutoDispOff",  "AutoDispOn",  "AutoSW",
    "Blink",       "Broadcast",   "BRT",         "CliIPAddr",  "CliMode",      "CliPass",     "CliPort",
    "CliUser",     "CommaWait",   "CSpara",      "CtlType",    "CTRST",        "DispBtn",     "EQ",
    "HDBTRS232",   "HDCPSet",     "HDMIAUD",     "help",       "HUE",          "HZoom",       "InputBroadcast",
    "InputFormat", "InputStatus", "IPAddUser",   "IPCFG",      "IPDelUser",    "IPDHCP",      "IPLogin",
    "IPPort",      "IPStatic",    "IPTimeout",   "Lock",       "LRAUD",        "Mreset",      "PictureRst",
    "PrefTimg",    "ProjSWMode",  "ProjWarmUpT", "RelayAct",   "RelayAuto",    "RelayPulseT", "RelayType",
    "RHostName",   "RS232para",   "RS232zone",   "SATRT",      "ScalerPtMode", "SetFbVerify", "SetLabel",
    "SetStrgType", "SHARP",       "SHostName",   "Statusx",    "System",       "Type",        "Unlock",
    "Update",      "USBFallback", "Version",     "VidOutRes",  "VOUT",         "VOUTMute",    "VZoom",
    "x1AVx2",      "Zoom",
};

static_assert(std::size(kUserList) == 23 && std::size(kTechnicalList) == 72);

constexpr useconds_t kLinePauseUs = 30;  // paces the user list on a slow console

void printList(std::span<const char* const> names, useconds_t pauseUs)
{
    for (const char* name : names) {
        uartReply("%s\r\n", name);
        if (pauseUs != 0) {
            usleep(pauseUs);
        }
    }
}

}  // namespace

int helpCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                const char* /*jsonTemplate*/)
{
    const std::string_view wanted(args);
    if (wanted.empty()) {
        if (std::string_view(line) == "help") {
            printList(kUserList, kLinePauseUs);
        } else if (std::string_view(line) == "techelp") {
            printList(kTechnicalList, 0);
        }
        return 1;
    }

    bool stopped = false;
    const CommandEntry* entry = findCommand(wanted, stopped);
    if (entry == nullptr) {
        if (!stopped) {
            refuse(line);
        }
        return 1;
    }
    if ((entry->flags & kHiddenFromHelp) == 0 && wanted.size() == entry->matchLength()) {
        uartReply("%s\r\n", entry->help);
    }
    return 1;
}

namespace {

Usage helpUsage(const CommandEntry& row)
{
    std::string list;
    const bool technical = std::string_view(row.name) == "techelp";
    for (const char* name : technical ? std::span<const char* const>(kTechnicalList) : std::span(kUserList)) {
        list.append(name).append("\r\n");
    }
    UsageField name = usage::text("name", 1);
    name.example = "Blink";
    return {.forms = {usage::bare("Answers a list of command names, a line each.", {{list}}),
                      {.argument = "{name}",
                       .effect = "Answers the built-in help text of a command.",
                       .fields = {name, usage::text("text")},
                       .replies = {{"{text}\r\n"},
                                   {"", "the command is hidden from help, or its name is only the beginning"},
                                   {usage::kRefusal, "no command's name begins it"}}}}};
}

}  // namespace

void describeHelp(UsageList& list)
{
    list.push_back({helpCommand, helpUsage});
}
