#include "commands/switchSettings.h"

#include <string_view>

#include "commands/usages.h"

namespace {

const char* word(bool on)
{
    return on ? "on" : "off";
}

int setSwitch(const SwitchRules& rules, const CommandCall& call, bool on)
{
    if (rules.needsScaler && !scalerModeOn()) {
        return refuse(call.line);
    }
    const bool stored = on != rules.inverted;
    const bool old = readBool(call.jsonTemplate).value_or(false);
    const bool unchanged = old == (on && rules.onComparesWithTrue ? true : stored);
    const int count = publishCount(on ? rules.onRule : rules.offRule, unchanged, call.fromEvent);
    if (!changeSetting(rules.announcement, call.jsonTemplate, stored, count)) {
        return 1;
    }
    if (!rules.silent && call.wantsReply()) {
        uartReply("%s %s\r\n", call.name, word(on));
    }
    return 1;
}

int showSwitch(const SwitchRules& rules, const CommandCall& call)
{
    if (const auto stored = readBool(call.jsonTemplate)) {
        uartReply("%s %s\r\n", call.name, word(*stored != rules.inverted));
    }
    return 1;
}

}  // namespace

int runSwitch(const SwitchRules& rules, const CommandCall& call)
{
    const std::string_view args(call.args);
    if (args == "on") {
        return setSwitch(rules, call, true);
    }
    if (args == "off") {
        return setSwitch(rules, call, false);
    }
    if (args == "sta") {
        return showSwitch(rules, call);
    }
    return refuse(call.line);
}

namespace {

UsageForm switchForm(const SwitchRules& rules, const CommandEntry& row, bool on)
{
    return {.argument = word(on),
            .effect = on ? "Switches on." : "Switches off.",
            .replies = {{rules.silent ? "" : usage::answer(row, word(on))}},
            .stores = {{on != rules.inverted ? "true" : "false"}},
            .unchangedTopic = unchangedTopic(rules.announcement, on ? rules.onRule : rules.offRule),
            .needsScaler = rules.needsScaler};
}

template <const SwitchRules& rules>
Usage switchUsage(const CommandEntry& row)
{
    Usage usage{.forms = {switchForm(rules, row, true), switchForm(rules, row, false),
                          usage::status(row, usage::oneOf("state", {"on", "off"}))}};
    if (std::string_view(row.jsonTemplate) == boolLeaf<"system.broadcast">) {
        usage.remarks.emplace_back("While the slave controller is ready, every change of the setting is told on both "
                                   "consoles, whoever makes it: \"Broadcast on\" or \"Broadcast off\".");
    }
    if (rules.inverted) {
        usage.remarks.emplace_back("\"on\" is stored as false: the setting is a mute or a bypass.");
    }
    return usage;
}

template <const SwitchRules&... rules>
void describeEach(UsageList& list)
{
    (list.push_back({switchCommand<rules>, switchUsage<rules>}), ...);
}

}  // namespace

void describeSwitches(UsageList& list)
{
    describeEach<broadcastSwitch, audioMuteSwitch, controlSwitch, hdmiAudioSwitch, analogAudioSwitch,
                 scalerBypassSwitch, zoomSwitch>(list);
}
