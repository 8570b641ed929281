#include "display/displayActions.h"

#include <string_view>

#include "console/dispatcher.h"
#include "console/peerCall.h"
#include "console/topics.h"
#include "display/triggerSender.h"
#include "display/usages.h"
#include "platform/eventBus.h"
#include "platform/logger.h"
#include "platform/support/settings.h"
#include "serial/replyWriter.h"

namespace {

constexpr int kFailed = 255;
constexpr auto* kControlType = textLeaf<"control.displayControl.output1.controlType">;
constexpr auto* kPower = textLeaf<"control.displayControl.output1.buttonControl.power">;

struct ButtonPress {
    const char* line;
    const char* name;
    const char* word;
    int fromEvent;

    [[nodiscard]] bool wantsReply() const { return fromEvent == 0; }
};

// The text of a leaf that may be missing; empty then.
std::string_view textOf(const PlatformText& text)
{
    return text != nullptr ? text.get() : "";
}

void callMicrocontroller(const char* word)
{
    callPeer(service::microcontroller, "TrigCEC", word);
}

// A failed write is logged and the press goes on.
void storePower(const char* word)
{
    Document document;
    const bool whole = fill(document, kPower, word);
    static_cast<void>(storeDocument(document, whole));
}

// Kept: on behalf of an event the press is announced twice.
bool announcePress(const ButtonPress& press)
{
    const int count = press.fromEvent == 1 ? 2 : 1;
    for (int i = 0; i < count; ++i) {
        if (eventbus_publish(topic::commandFeedback, press.line) != 0) {
            if (__logLevels[4] != 0) {
                __printLog(4, "eventbus_publish(UserConfigFeedback error!)");
            }
            return false;
        }
    }
    return true;
}

int announceAndReply(const ButtonPress& press, const char* word)
{
    if (!announcePress(press)) {
        return kFailed;
    }
    if (press.wantsReply()) {
        uartReply("%s %s\r\n", press.name, word);
    }
    return 1;
}

int showPower(const ButtonPress& press)
{
    if (const PlatformText power = readText(kPower)) {
        uartReply("%s %s\r\n", press.name, power.get());
    }
    return 1;
}

int togglePower(const ButtonPress& press, std::string_view controlType)
{
    const PlatformText power = readText(kPower);
    const std::string_view old = textOf(power);
    if (old == "on" || old == "off") {
        const char* next = old == "on" ? "off" : "on";
        if (controlType == "cec") {
            callMicrocontroller(next);
        }
        storePower(next);
    }
    return announceAndReply(press, "on");  // Kept: whatever it switched to.
}

int setPower(const ButtonPress& press)
{
    const PlatformText old = readText(kPower);
    storePower(press.word);
    if (textOf(old) == press.word) {
        // The store announces real changes only.
        Document document;
        fill(document, kPower, press.word);
        publishReported(topic::control, document.c_str(), "publishEvent(controlUserConfigChanged!)");
    }
    return announceAndReply(press, press.word);
}

void sendAction(std::string_view controlType, const char* word)
{
    const bool mutes = std::string_view(word) == "mute";
    if (controlType == "rs-232") {
        sendTrigger(mutes ? serialPower : serialVolume, word);
    } else if (controlType == "ip") {
        sendTrigger(mutes ? networkPower : networkVolume, word);
    } else if (controlType == "cec") {
        callMicrocontroller(word);
    }
}

int forwardAction(const ButtonPress& press, const PlatformText& controlType)
{
    // Kept: the answer shows the question asked of the store for the power, not a value.
    Document powerQuery;
    fill(powerQuery, kPower, "");
    if (announceAndReply(press, powerQuery.c_str()) == kFailed) {
        return kFailed;
    }
    if (controlType == nullptr) {
        if (__logLevels[4] != 0) {
            __printLog(4, "json_token_object_walk_get_string error!");
        }
        return kFailed;
    }
    if (__logLevels[6] != 0) {
        __printLog(6, "controlType = %s\r\n", controlType.get());
    }
    sendAction(controlType.get(), press.word);
    return 1;
}

}  // namespace

int displayButtonCommand(const char* line, const char* name, const char* args, int fromEvent,
                         const char* /*jsonTemplate*/)
{
    const ButtonPress press{line, name, args, fromEvent};
    const PlatformText controlType = readText(kControlType);
    const std::string_view word(args);
    if (word == "on" || word == "off") {
        return setPower(press);
    }
    if (word == "tog") {
        return togglePower(press, textOf(controlType));
    }
    if (word == "mute" || word == "vol+" || word == "vol-") {
        return forwardAction(press, controlType);
    }
    if (word == "sta") {
        return showPower(press);
    }
    return refuse(line);
}

int cecTriggerCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const std::string_view word(args);
    if (word != "on" && word != "off" && word != "vol+" && word != "vol-" && word != "mute") {
        return refuse(line);
    }
    callMicrocontroller(args);
    Document document;
    fill(document, jsonTemplate, args);
    publishReported(topic::control, document.c_str(), "publishEvent(controlUserConfigChanged SYSTEM_CMD_REQ_DEFAULT!)");
    if (fromEvent == 0) {
        uartReply("%s %s\r\n", name, args);
    }
    return 1;
}

namespace {

constexpr char kRequest[] = "{request}";

// "stands" is what the store holds for the power afterwards; null where it is not written.
UsageForm buttonForm(const CommandEntry& row, const char* word, const char* effect, const char* answered)
{
    return {.argument = word,
            .effect = effect,
            .replies = {{usage::answer(row, answered)}},
            .events = {{topic::commandFeedback, "{line}"}}};
}

UsageForm powerForm(const CommandEntry& row, const char* word)
{
    UsageForm form = buttonForm(row, word, "Stores the power that is wanted, for others to act on.", word);
    form.stores = {{.value = usage::quoted(word), .jsonTemplate = kPower}};
    form.unchangedTopic = topic::control;
    form.answersUnstored = true;
    return form;
}

UsageForm actionForm(const CommandEntry& row, const char* word)
{
    Document powerQuery;
    fill(powerQuery, kPower, "");
    UsageForm form = buttonForm(row, word, "Sends the action the way that the control type names.", powerQuery.c_str());
    form.fields = {usage::text("request", 0, 0, "the stored command as JSON")};
    form.calls = {{service::displayControl, "SetCmdOn", kRequest, "the control type is \"rs-232\""},
                  {service::displayControlTelnet, "SetCmdOn", kRequest, "the control type is \"ip\""},
                  {service::microcontroller, "TrigCEC", word, "the control type is \"cec\""}};
    return form;
}

Usage displayButtonUsage(const CommandEntry& row)
{
    constexpr char kByCec[] = "the control type is \"cec\"";
    UsageForm toggle = buttonForm(
        row, "tog", "Stores the other power, when it is \"on\" or \"off\" now; the answer is \"on\" all the same.",
        "on");
    toggle.fields = {usage::oneOf("power", {"on", "off"})};
    toggle.answersUnstored = true;
    toggle.stores = {{.value = usage::quoted("{power}"), .jsonTemplate = kPower}};
    toggle.calls = {{service::microcontroller, "TrigCEC", "{power}", kByCec}};
    return {.forms = {powerForm(row, "on"), powerForm(row, "off"), toggle, actionForm(row, "mute"),
                      actionForm(row, "vol+"), actionForm(row, "vol-"), usage::status(row, usage::text("power"))},
            .remarks = {"The answer of \"mute\", \"vol+\" and \"vol-\" shows a query, not a value."}};
}

Usage cecTriggerUsage(const CommandEntry& row)
{
    Usage usage{.remarks = {"Nothing is stored."}};
    for (const char* word : {"on", "off", "vol+", "vol-", "mute"}) {
        Document document;
        fill(document, row.jsonTemplate, word);
        usage.forms.push_back({.argument = word,
                               .effect = "Has the microcontroller send the action.",
                               .replies = {{usage::answer(row, word)}},
                               .events = {{topic::control, document.c_str()}},
                               .calls = {{service::microcontroller, "TrigCEC", word}}});
    }
    return usage;
}

}  // namespace

void describeDisplayActions(UsageList& list)
{
    list.push_back({displayButtonCommand, displayButtonUsage});
    list.push_back({cecTriggerCommand, cecTriggerUsage});
}
