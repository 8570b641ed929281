#include "commands/audioLevel.h"

#include <cstdint>
#include <optional>

#include "console/argumentText.h"

namespace {

int showLevel(const CommandCall& call, int level)
{
    return uartReply("%s %d\r\n", call.name, level);
}

int stepLevel(const LevelRules& rules, const CommandCall& call, int step)
{
    const auto old = readInt(call.jsonTemplate);
    if (!old) {
        return refuse(call.line);
    }
    const std::int64_t level = std::int64_t{*old} + step;
    // Kept: beyond the range its end is reported as if it were the value.
    if (level < rules.lowest) {
        return showLevel(call, rules.lowest);
    }
    if (level > rules.highest) {
        return showLevel(call, rules.highest);
    }
    const int stepped = static_cast<int>(level);
    if (changeSetting(announce::audio, call.jsonTemplate, stepped, 0) && rules.answersStep && call.wantsReply()) {
        showLevel(call, stepped);
    }
    return 1;
}

std::optional<int> signedNumber(std::string_view text, bool takesPlusSign)
{
    const bool negative = text.starts_with('-');
    if (negative || (takesPlusSign && text.starts_with('+'))) {
        text.remove_prefix(1);
    }
    const auto number = decimalNumber(text);
    return number && negative ? std::optional(-*number) : number;
}

}  // namespace

int runLevel(const LevelRules& rules, const CommandCall& call)
{
    const std::string_view args(call.args);
    if (args == "sta") {
        return showNumber(call);
    }
    if (args == "+") {
        return stepLevel(rules, call, 1);
    }
    if (args == "-") {
        return stepLevel(rules, call, -1);
    }
    const auto level = signedNumber(args, rules.takesPlusSign);
    if (!level || *level < rules.lowest || *level > rules.highest) {
        return refuse(call.line);
    }
    if (changeNumber(call, announce::audio, rules.rule, *level) && call.wantsReply()) {
        showLevel(call, *level);
    }
    return 1;
}
