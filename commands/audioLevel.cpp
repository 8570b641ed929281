#include "commands/audioLevel.h"

#include <cstdint>
#include <optional>

#include "commands/usages.h"
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

namespace {

UsageForm stepForm(const LevelRules& rules, const CommandEntry& row, const char* sign, int end)
{
    const UsageField level = usage::integer("level", rules.lowest, rules.highest);
    UsageForm form{.argument = sign,
                   .effect = "Takes one step of 1 dB; at the end of the range nothing changes.",
                   .fields = {level},
                   .replies = {{rules.answersStep ? usage::answer(row, "{level}") : ""}},
                   .stores = {{"{level}"}}};
    if (!rules.answersStep) {
        form.replies.push_back({usage::answer(row, std::to_string(end)), "the range ends"});
    }
    form.replies.push_back({usage::kRefusal, "it is not in the store"});
    return form;
}

template <const LevelRules& rules>
Usage levelUsage(const CommandEntry& row)
{
    const UsageField level = usage::integer("level", rules.lowest, rules.highest,
                                            rules.takesPlusSign ? "dB; may be given with a \"+\"" : "dB; no \"+\"");
    return {.forms = {{.argument = "{level}",
                       .effect = "Sets the level.",
                       .fields = {level},
                       .replies = {{usage::answer(row, "{level}")}},
                       .stores = {{"{level}"}},
                       .unchangedTopic = unchangedTopic(announce::audio, rules.rule)},
                      stepForm(rules, row, "+", rules.highest),
                      stepForm(rules, row, "-", rules.lowest),
                      usage::status(row, usage::integer("level", 0, 0, "dB"))}};
}

}  // namespace

void describeAudioLevels(UsageList& list)
{
    list.push_back({levelCommand<volumeLevel>, levelUsage<volumeLevel>});
    list.push_back({levelCommand<equaliserLevel>, levelUsage<equaliserLevel>});
}
