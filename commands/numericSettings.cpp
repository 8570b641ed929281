#include "commands/numericSettings.h"

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
