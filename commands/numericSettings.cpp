#include "commands/numericSettings.h"

#include "commands/usages.h"
#include "console/argumentText.h"

int runNumeric(const NumericRules& rules, const CommandCall& call)
{
    const std::string_view args(call.args);
    if (args.empty()) {
        return refuse(call.line);
    }
    if (args == "sta") {
        return showNumber(call);
    }
    if (rules.needsScaler && !scalerModeOn()) {
        return refuse(call.line);
    }
    const auto number = decimalNumber(args);
    if (!number || *number < rules.lowest || *number > rules.highest) {
        return refuse(call.line);
    }
    if (changeNumber(call, rules.announcement, PublishRule::unchangedEventOnly, *number) && call.wantsReply()) {
        uartReply("%s %d\r\n", call.name, *number);
    }
    return 1;
}

namespace {

template <const NumericRules& rules>
Usage numericUsage(const CommandEntry& row)
{
    const UsageField number = usage::integer("number", rules.lowest, rules.highest);
    const std::string given = usage::place(number.name);
    return {.forms = {{.argument = given,
                       .effect = "Sets the number.",
                       .fields = {number},
                       .replies = {{usage::answer(row, given)}},
                       .stores = {{given}},
                       .unchangedTopic = unchangedTopic(rules.announcement, PublishRule::unchangedEventOnly),
                       .needsScaler = rules.needsScaler},
                      usage::status(row, usage::integer("number", 0, 0))}};
}

template <const NumericRules&... rules>
void describeEach(UsageList& list)
{
    (list.push_back({numericCommand<rules>, numericUsage<rules>}), ...);
}

}  // namespace

void describeNumbers(UsageList& list)
{
    describeEach<autoSwitchFirstTime, autoSwitchOutTime, autoPowerOffTime, projectorTime, relayPulseTime, overscanSize,
                 pictureControl, clientPort>(list);
}
