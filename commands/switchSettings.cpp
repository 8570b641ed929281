#include "commands/switchSettings.h"

#include <string_view>

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
