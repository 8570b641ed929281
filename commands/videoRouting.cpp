#include "commands/videoRouting.h"

#include <string_view>

#include "commands/settingChange.h"
#include "commands/usages.h"

namespace {

// Kept: the label has a stray letter.
constexpr Announcement kRouteAnnouncement{topic::video,
                                          "publishEvent(videoUserConfigChangeds SYSTEM_CMD_REQ_DEFAULT!)"};
constexpr int kRefusedRoute = 255;

struct Input {
    const char* line;
    const char* connected;  // status leaf
};

constexpr Input kHdbtInput{"InputStatus1", boolLeaf<"video.vidIn.hdbtIn.hdbtIn1.connected">};
constexpr Input kHdmiInput{"InputStatus2", boolLeaf<"video.vidIn.hdmiIn.hdmiIn1.connected">};

void showBothInputs(const char* name)
{
    const bool hdbt = readStatusBool(kHdbtInput.connected).value_or(false);
    const bool hdmi = readStatusBool(kHdmiInput.connected).value_or(false);
    uartReply("%s %d%d\r\n", name, hdbt ? 1 : 0, hdmi ? 1 : 0);
}

void showRoute(int source)
{
    uartReply("x%dAVx1\r\n", source);
}

}  // namespace

int routeCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    if (std::string_view(line) != name) {
        refuse(line);
        return kRefusedRoute;
    }
    const int source = name[1] - '0';  // xNAVx1
    if (changeNumber(call, kRouteAnnouncement, PublishRule::whenUnchanged, source) && call.wantsReply()) {
        uartReply("%s\r\n", line);
    }
    return 1;
}

int routeStatusCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                       const char* jsonTemplate)
{
    if (*args != '\0') {
        return refuse(line);
    }
    if (const auto source = readInt(jsonTemplate)) {
        showRoute(*source);
    }
    return 1;
}

int inputStatusCommand(const char* /*line*/, const char* name, const char* /*args*/, int /*fromEvent*/,
                       const char* /*jsonTemplate*/)
{
    showBothInputs(name);
    return 1;
}

int singleInputStatusCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                             const char* /*jsonTemplate*/)
{
    if (*args != '\0') {
        return refuse(line);
    }
    for (const Input& input : {kHdbtInput, kHdmiInput}) {
        // Kept: a line with blanks behind the name is no refusal and no report.
        if (std::string_view(line) != input.line) {
            continue;
        }
        if (const auto connected = readStatusBool(input.connected)) {
            uartReply("%s %d\r\n", input.line, *connected ? 1 : 0);
        }
    }
    return 1;
}

void report::route(const char* /*name*/, const ReportValue& value)
{
    showRoute(value.number());
    showBothInputs("InputStatus");
}

namespace {

Usage routeUsage(const CommandEntry& row)
{
    UsageForm form = usage::bare("Sends this source to the output.", {{usage::answer(row)}});
    form.stores = {{std::string(1, row.name[1])}};
    form.unchangedTopic = unchangedTopic(kRouteAnnouncement, PublishRule::whenUnchanged);
    return {.forms = {form}};
}

Usage routeStatusUsage(const CommandEntry& /*row*/)
{
    UsageForm form =
        usage::bare("Answers which source feeds the output.", {{"x{source}AVx1\r\n"}, {"", "it is not in the store"}});
    form.fields = {usage::integer("source", 0, 0)};
    return {.forms = {form}};
}

Usage inputStatusUsage(const CommandEntry& row)
{
    return {.forms = {
                {.argument = "{ignored}",
                 .effect = "Answers for both inputs, HDBaseT first, whether a source is connected.",
                 .fields = {usage::text("ignored"), usage::oneOf("hdbt", {"0", "1"}), usage::oneOf("hdmi", {"0", "1"})},
                 .replies = {{usage::answer(row, "{hdbt}{hdmi}")}}}}};
}

Usage singleInputStatusUsage(const CommandEntry& row)
{
    UsageForm form =
        usage::bare("Answers whether a source is connected.",
                    {{usage::answer(row, "{connected}")}, {"", "blanks follow the name"}, {"", "it is not known"}});
    form.fields = {usage::oneOf("connected", {"0", "1"})};
    return {.forms = {form}};
}

}  // namespace

void describeVideoRouting(UsageList& list)
{
    list.push_back({routeCommand, routeUsage});
    list.push_back({routeStatusCommand, routeStatusUsage});
    list.push_back({inputStatusCommand, inputStatusUsage});
    list.push_back({singleInputStatusCommand, singleInputStatusUsage});
}
