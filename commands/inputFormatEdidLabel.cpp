#include "commands/inputFormatEdidLabel.h"

#include <arpa/inet.h>

#include "commands/usages.h"

namespace {

constexpr const char* kModelName = textLeaf<"device.modelName">;
constexpr char kFactoryReset[] = "Sys Default\r";
constexpr char kFactoryResetLabel[] = "publishEvent(UpgradeSlaveVersionQuery SYSTEM_CMD_REQ_DEFAULT!)";

constexpr std::size_t kLongestLabel = 30;       // bytes
constexpr std::size_t kLongestCredential = 40;  // bytes

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

int factoryResetCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                        const char* /*jsonTemplate*/)
{
    if (*args != '\0') {
        return refuse(line);
    }
    publishReported(topic::upgradeQuery, kFactoryReset, kFactoryResetLabel);
    return 1;
}

int pictureResetCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    if (*args != '\0') {
        return refuse(line);
    }
    if (!scalerModeOn()) {
        return uartReply("Command FAILED\r\n");  // Kept: without the line.
    }
    // Each reset has to be a change of the leaf, which carries nothing else.
    const int next = readInt(jsonTemplate).value_or(0) == 0 ? 1 : 0;
    if (changeSetting(announce::video, jsonTemplate, next, 0) && call.wantsReply()) {
        uartReply("%s\r\n", name);
    }
    return 1;
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

int clientAddressCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    if (std::string_view(args) == "sta") {
        return showText(call);
    }
    in_addr ignored{};
    if (inet_aton(args, &ignored) == 0) {
        return refuse(line);
    }
    if (changeText(call, announce::control, PublishRule::unchangedEventOnly, args) && call.wantsReply()) {
        uartReply("%s %s\r\n", name, args);
    }
    return 1;
}

// Kept: "sta" is a name like any other here, and nothing shows what is stored.
int clientCredentialCommand(const char* line, const char* name, const char* args, int fromEvent,
                            const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    if (*args == '\0') {
        return refuse(line);
    }
    FixedText<kLongestCredential + 1> text;
    text.append(args);
    if (changeText(call, announce::control, PublishRule::unchangedEventOnly, text.view()) && call.wantsReply()) {
        uartReply("%s %s\r\n", name, text.c_str());
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

Usage typeUsage(const CommandEntry& /*row*/)
{
    UsageForm form = usage::bare("Answers the model's name.", {{"{model}\r\n"}, {"", "it is not known"}});
    form.fields = {usage::text("model")};
    return {.forms = {form}};
}

Usage factoryResetUsage(const CommandEntry& /*row*/)
{
    UsageForm form = usage::bare("Asks for the factory state.", {{""}});
    form.events = {{topic::upgradeQuery, kFactoryReset}};
    return {.forms = {form}};
}

Usage pictureResetUsage(const CommandEntry& row)
{
    UsageForm form =
        usage::bare("Resets the picture controls.", {{usage::answer(row)}, {"Command FAILED\r\n", usage::kScalerOff}});
    form.stores = {{"{count}"}};
    form.fields = {usage::integer("count", 0, 1, "0 and 1 in turn, so that each reset is a change")};
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

Usage clientAddressUsage(const CommandEntry& row)
{
    return {.forms = {{.argument = "{address}",
                       .effect = "Sets the address.",
                       .fields = {usage::address("address")},
                       .replies = {{usage::answer(row, "{address}")}},
                       .stores = {{usage::quoted("{address}")}},
                       .unchangedTopic = unchangedTopic(announce::control, PublishRule::unchangedEventOnly)},
                      usage::status(row, usage::text("address"))}};
}

Usage clientCredentialUsage(const CommandEntry& row)
{
    UsageField text = usage::text("text", 1, kLongestCredential);
    text.cut = true;
    return {.forms = {{.argument = "{text}",
                       .effect = "Sets the text.",
                       .fields = {text},
                       .replies = {{usage::answer(row, "{text}")}},
                       .stores = {{usage::quoted("{text}")}},
                       .unchangedTopic = unchangedTopic(announce::control, PublishRule::unchangedEventOnly)}},
            .remarks = {"\"sta\" is a text like any other: no command shows what is stored."}};
}

}  // namespace

void describeSmallCommands(UsageList& list)
{
    list.push_back({inputFormatCommand<hdbtInput>, inputFormatUsage});
    list.push_back({inputFormatCommand<hdmiInput>, inputFormatUsage});
    list.push_back({typeCommand, typeUsage});
    list.push_back({factoryResetCommand, factoryResetUsage});
    list.push_back({pictureResetCommand, pictureResetUsage});
    list.push_back({edidCopyCommand, edidCopyUsage});
    list.push_back({bootLabelCommand, bootLabelUsage});
    list.push_back({clientAddressCommand, clientAddressUsage});
    list.push_back({clientCredentialCommand, clientCredentialUsage});
}
