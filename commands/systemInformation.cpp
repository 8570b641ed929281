#include "commands/systemInformation.h"

#include <cmath>
#include <cstring>
#include <optional>
#include <string_view>
#include <sys/time.h>

#include "commands/factoryData.h"
#include "commands/usages.h"
#include "platform/store.h"
#include "platform/support/report.h"

namespace {

constexpr const char* kModelName = textLeaf<"device.modelName">;
// The boot time's leaf holds seconds since the epoch with their fraction.
constexpr char kBootTime[] = R"({"time":{"status":{"bootUpTime":%f}}})";
// Kept: one brace too many. The stores read a document up to its end and pass over what follows.
constexpr char kTelnetPort[] = R"({"network":{"telnet":{"telnetPort":%d}}}})";

struct VersionItem {
    std::string_view suffix;
    PlatformText (*read)(const char* source);
    const char* source;
};

constexpr VersionItem kVersionItems[] = {
    {"", readFactoryItem, "FirmwareVer"},
    {"MCU", readFactoryItem, "FirmwareVer"},
    {"VSRX", readText, textLeaf<"system.firmwareVersionVS2310Rx">},
    {"977", readFactoryItem, "AppImgVer"},
    {"1830", readStatusText, textLeaf<"device.deviceVersion.others.mcu4.version">},
};

/// Prints an item, unless it cannot be read.
struct SystemItem {
    void (*print)(const SystemItem& item, const char* ending);
    const char* label;
    const char* source;
    bool inDeviceLine = true;
};

template <PlatformText (*read)(const char*)>
void printText(const SystemItem& item, const char* ending)
{
    if (const PlatformText text = read(item.source)) {
        uartReply("%s: %s%s", item.label, text.get(), ending);
    }
}

void printPort(const SystemItem& item, const char* ending)
{
    if (const auto port = readInt(item.source)) {
        uartReply("%s: %d%s", item.label, *port, ending);
    }
}

void printFixed(const SystemItem& item, const char* ending)
{
    uartReply("%s: %s%s", item.label, item.source, ending);
}

void printUpTime(const SystemItem& item, const char* ending)
{
    constexpr double kBeyondAnyClock = 1e15;  // s
    const auto bootTime = readStatusDouble(item.source);
    if (!bootTime || !(std::fabs(*bootTime) < kBeyondAnyClock)) {
        return;
    }
    timeval now{};
    gettimeofday(&now, nullptr);
    const double wallClock = static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1000000.0;
    const auto up = static_cast<long long>(wallClock - *bootTime);
    uartReply("%s: %02lld %02lld:%02lld:%02lld%s", item.label, up / 86400, up % 86400 / 3600, up % 3600 / 60, up % 60,
              ending);
}

constexpr SystemItem kSystemItems[] = {
    {printText<readText>, "Model", textLeaf<"system.model">},
    {printText<readFactoryItem>, "MAC Addr", "MacAddr"},
    {printText<readText>, "Address Type", textLeaf<"network.eth0.bootProto">},
    {printText<readStatusText>, "IP Addr", textLeaf<"network.eth0.ipSettings.ipaddr">},
    {printText<readStatusText>, "Netmask", textLeaf<"network.eth0.ipSettings.netmask">},
    {printText<readStatusText>, "Gateway", textLeaf<"network.eth0.ipSettings.gateway">},
    {printFixed, "HTTP Port", "80"},
    {printPort, "Telnet Port", kTelnetPort},
    {printPort, "SSH Port", intLeaf<"network.ssh.sshPort">, false},
    {printText<readFactoryItem>, "Firmware", "FirmwareVer"},
    {printUpTime, "On/Up Time <dd HH:mm:ss>", kBootTime},
    {printText<readText>, "Hostname", textLeaf<"network.netbios.hostname">, false},
};

void printStatusLines()
{
    for (const SystemItem& item : kSystemItems) {
        item.print(item, "\r\n");
    }
}

// One line for programs: a separator stands also for what cannot be read, so that an item is found by its place.
void printDeviceLine()
{
    bool first = true;
    for (const SystemItem& item : kSystemItems) {
        if (!item.inDeviceLine) {
            continue;
        }
        if (!first) {
            uartReply("%c;", '%');
        }
        item.print(item, "");
        first = false;
    }
    uartReply("%c;\r\n", '%');
}

}  // namespace

int versionCommand(const char* line, const char* name, const char* /*args*/, int /*fromEvent*/,
                   const char* /*jsonTemplate*/)
{
    // The suffix stands directly behind the name: args, which skips blanks, would let "Version MCU" pass.
    const std::string_view suffix(line + std::strlen(name));
    for (const VersionItem& item : kVersionItems) {
        if (item.suffix == suffix) {
            if (const PlatformText version = item.read(item.source)) {
                uartReply("%s\r\n", version.get());
            }
            return 1;
        }
    }
    return refuse(line);
}

int systemCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                  const char* /*jsonTemplate*/)
{
    const std::string_view form(args);
    if (form == "sta") {
        printStatusLines();
    } else if (form == "dev") {
        printDeviceLine();
    } else {
        refuse(line);
    }
    return 1;
}

int typeCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                const char* /*jsonTemplate*/)
{
    if (*args != '\0') {
        return refuse(line);
    }
    // Kept: the model comes from the status store, not from the row's own leaf.
    if (const PlatformText model = readStatusText(kModelName)) {
        uartReply("%s\r\n", model.get());
    }
    return 1;
}

int runLock(bool lock, const CommandCall& call)
{
    const std::string_view line(call.line);
    if (line != call.name && line != "Lock sta") {
        return refuse(call.line);
    }
    const bool old = readBool(call.jsonTemplate).value_or(false);
    if (call.args == std::string_view("sta")) {
        // Kept: "Lock sta" answers "Lock" whatever the state is; control systems take it for a sign of life.
        return uartReply("%s\r\n", call.name);
    }
    Document document;
    if (!fill(document, call.jsonTemplate, lock) || user_config_update(document.c_str()) != 0) {
        reportSystemError("user_config_update");
    }
    publishChange(announce::system, document.c_str(),
                  publishCount(PublishRule::whenUnchanged, old == lock, call.fromEvent));
    if (call.wantsReply()) {
        uartReply("%s\r\n", call.name);
    }
    return 1;
}

namespace {

Usage versionUsage(const CommandEntry& /*row*/)
{
    Usage usage{.adjacent = true};
    for (const VersionItem& item : kVersionItems) {
        usage.forms.push_back({.argument = std::string(item.suffix),
                               .effect = "Answers a version.",
                               .fields = {usage::text("version")},
                               .replies = {{"{version}\r\n"}, {"", "it is not known"}}});
    }
    return usage;
}

// "MAC Addr" is {macAddr}.
std::string fieldName(std::string_view label)
{
    std::string name;
    bool wordBegins = false;
    for (const char character : label.substr(0, label.find('<'))) {
        const bool upper = character >= 'A' && character <= 'Z';
        const bool lower = character >= 'a' && character <= 'z';
        if (!upper && !lower) {
            wordBegins = true;
            continue;
        }
        const bool keepsUpper = wordBegins && !name.empty();
        name += upper && !keepsUpper ? static_cast<char>(character - 'A' + 'a') : character;
        wordBegins = false;
    }
    return name;
}

UsageForm systemForm(const char* word, const char* effect, bool asDeviceLine)
{
    UsageForm form{.argument = word, .effect = effect, .replies = {{""}}, .partial = true};
    std::string& text = form.replies[0].text;
    for (const SystemItem& item : kSystemItems) {
        if (asDeviceLine && !item.inDeviceLine) {
            continue;
        }
        const bool fixed = item.print == printFixed;
        const std::string name = fieldName(item.label);
        text += std::string(item.label) + ": " + (fixed ? item.source : usage::place(name));
        text += asDeviceLine ? "%;" : "\r\n";
        if (!fixed) {
            form.fields.push_back(usage::text(name));
        }
    }
    text += asDeviceLine ? "\r\n" : "";
    return form;
}

Usage systemUsage(const CommandEntry& /*row*/)
{
    return {
        .forms = {
            systemForm("sta", "Answers what the device is and how it is set up, a line each.", false),
            systemForm("dev",
                       "Answers the same in one line for programs, where a separator stands also for what is left out.",
                       true)}};
}

Usage typeUsage(const CommandEntry& /*row*/)
{
    UsageForm form = usage::bare("Answers the model's name.", {{"{model}\r\n"}, {"", "it is not known"}});
    form.fields = {usage::text("model")};
    return {.forms = {form}};
}

template <bool lock>
Usage lockUsage(const CommandEntry& row)
{
    UsageForm set = usage::bare(lock ? "Locks the front panel." : "Unlocks the front panel.", {{usage::answer(row)}});
    set.stores = {{lock ? "true" : "false"}};
    set.unchangedTopic = unchangedTopic(announce::system, PublishRule::whenUnchanged);
    set.answersUnstored = true;
    Usage usage{.forms = {set}, .oneBlank = true};
    if (lock) {
        usage.forms.push_back({.argument = "sta",
                               .effect = "Is a sign of life: the answer is the same whatever the state.",
                               .replies = {{usage::answer(row)}}});
    }
    return usage;
}

}  // namespace

void describeSystemInformation(UsageList& list)
{
    list.push_back({versionCommand, versionUsage});
    list.push_back({systemCommand, systemUsage});
    list.push_back({typeCommand, typeUsage});
    list.push_back({lockCommand<true>, lockUsage<true>});
    list.push_back({lockCommand<false>, lockUsage<false>});
}
