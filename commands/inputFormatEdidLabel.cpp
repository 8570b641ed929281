#include "commands/inputFormatEdidLabel.h"

#include <string_view>

#include "commands/usages.h"

namespace {

constexpr std::size_t kLongestLabel = 30;  // bytes

constexpr char kOnlyEdidMemory[] = "mem1";
constexpr int kEdidMemories = 8;

}  // namespace

int runInputFormat(const InputFormatRules& rules, const CommandCall& call)
{
    if (*call.args != '\0') {
        return refuse(call.line);
    }
    if (!readStatusBool(rules.stable).value_or(false)) {
        return uartReply("%s --:--:--\r\n", call.name);
    }
    const int width = readStatusInt(rules.width).value_or(0);
    const int height = readStatusInt(rules.height).value_or(0);
    const char scan = readStatusBool(rules.interlace).value_or(false) ? 'i' : 'p';
    const int refreshRate = readStatusInt(rules.refreshRate).value_or(0);
    const int colorDepth = readStatusInt(rules.colorDepth).value_or(0);
    const PlatformText colorMode = readStatusText(rules.colorMode);
    return uartReply("%s %dx%d%c%d:%dbit:%s\r\n", call.name, width, height, scan, refreshRate, colorDepth,
                     colorMode != nullptr ? colorMode.get() : "");
}

int edidCopyCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    // Kept: both answers end in a bare line feed.
    if (std::string_view(args) != kOnlyEdidMemory) {
        return uartReply("Command FAILED: (%s)\n", line);
    }
    if (changeNumber(call, announce::video, PublishRule::unchangedEventOnly, 1) && call.wantsReply()) {
        uartReply("%s\n", line);
    }
    return 1;
}

int bootLabelCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    std::string_view text(args);
    if (!text.starts_with('[') || !text.ends_with(']')) {
        return refuse(line);
    }
    text.remove_prefix(1);
    text = text.substr(0, text.find(']'));
    FixedText<kLongestLabel + 1> label;
    label.append(text);
    if (changeText(call, announce::video, PublishRule::unchangedEventOnly, label.view()) && call.wantsReply()) {
        uartReply("%s[%s]\r\n", name, label.c_str());
    }
    return 1;
}

void report::edidMemory(const char* name, const ReportValue& value)
{
    if (value.number() >= 1 && value.number() <= kEdidMemories) {
        uartReply("%s mem%d\r\n", name, value.number());
    }
}

namespace {

Usage inputFormatUsage(const CommandEntry& row)
{
    UsageForm form =
        usage::bare("Answers the format of the input.",
                    {{usage::answer(row, "{width}x{height}{scan}{refreshRate}:{colorDepth}bit:{colorMode}")},
                     {usage::answer(row, "--:--:--"), "there is no stable picture"}});
    form.fields = {usage::integer("width", 0, 0),      usage::integer("height", 0, 0),
                   usage::oneOf("scan", {"i", "p"}),   usage::integer("refreshRate", 0, 0, "Hz"),
                   usage::integer("colorDepth", 0, 0), usage::text("colorMode")};
    return {.forms = {form}};
}

Usage edidCopyUsage(const CommandEntry& /*row*/)
{
    return {.forms = {{.argument = kOnlyEdidMemory,
                       .effect = "Copies the display's EDID into the memory.",
                       .replies = {{"{line}\n"}},
                       .stores = {{"1"}},
                       .unchangedTopic = unchangedTopic(announce::video, PublishRule::unchangedEventOnly)},
                      {.argument = "{text}",
                       .effect = "Anything else is refused.",
                       .fields = {usage::text("text")},
                       .replies = {{"Command FAILED: ({line})\n"}}}},
            .remarks = {"Both answers end in a line feed without a carriage return."}};
}

Usage bootLabelUsage(const CommandEntry& row)
{
    UsageField text = usage::text("text", 0, kLongestLabel, "without \"]\", which ends it");
    text.cut = true;
    return {.forms = {{.argument = "[{text}]",
                       .effect = "Sets the text shown at start.",
                       .fields = {text},
                       .replies = {{std::string(row.name) + "[{text}]\r\n"}},
                       .stores = {{usage::quoted("{text}")}},
                       .unchangedTopic = unchangedTopic(announce::video, PublishRule::unchangedEventOnly)}}};
}

}  // namespace

void describeInputFormatEdidLabel(UsageList& list)
{
    list.push_back({inputFormatCommand<hdbtInput>, inputFormatUsage});
    list.push_back({inputFormatCommand<hdmiInput>, inputFormatUsage});
    list.push_back({edidCopyCommand, edidCopyUsage});
    list.push_back({bootLabelCommand, bootLabelUsage});
}
