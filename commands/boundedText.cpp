#include "commands/boundedText.h"

#include <string_view>

#include "commands/usages.h"

namespace {

constexpr std::size_t kLongestText = 15;  // bytes

}  // namespace

int runBoundedText(const BoundedTextRules& rules, const CommandCall& call)
{
    const std::string_view text(call.args);
    if (text.size() > kLongestText) {
        return refuse(call.line);
    }
    if (changeText(call, rules.announcement, PublishRule::whenUnchanged, text) && call.wantsReply()) {
        // Kept: the new value stands in brackets, though reading it back answers without; control systems match both.
        uartReply("%s[%s]\r\n", call.name, call.args);
    }
    return 1;
}

namespace {

template <const BoundedTextRules& rules>
Usage boundedTextUsage(const CommandEntry& row)
{
    return {.forms = {{.argument = "{text}",
                       .effect = "Sets the text; nothing behind the name makes it empty.",
                       .fields = {usage::text("text", 0, kLongestText)},
                       .replies = {{std::string(row.name) + "[{text}]\r\n"}},
                       .stores = {{usage::quoted("{text}")}},
                       .unchangedTopic = unchangedTopic(rules.announcement, PublishRule::whenUnchanged)}}};
}

}  // namespace

void describeBoundedTexts(UsageList& list)
{
    list.push_back({boundedTextCommand<hostName>, boundedTextUsage<hostName>});
    list.push_back({boundedTextCommand<systemDebugMode>, boundedTextUsage<systemDebugMode>});
}
