#include "console/groupRow.h"

#include "console/dispatcher.h"
#include "console/topics.h"
#include "console/usage.h"
#include "serial/rs232zone.h"

int groupRow(const char* line, const char* /*name*/, const char* /*args*/, int /*fromEvent*/,
             const char* /*jsonTemplate*/)
{
    refuse(line);
    return 1;
}

int noOperationRow(const char* /*line*/, const char* /*name*/, const char* /*args*/, int /*fromEvent*/,
                   const char* /*jsonTemplate*/)
{
    return 1;
}

namespace {

Usage groupUsage(const CommandEntry& /*row*/)
{
    return {.remarks = {"Stands for the commands whose names begin with it, and is refused itself."}};
}

Usage zoneUsage(const CommandEntry& /*row*/)
{
    constexpr int kLongestPayload = static_cast<int>(kBracketCapacity) - 2;
    return {
        .forms = {{.argument = "[{text}]",
                   .effect = "Sends the text to the display.",
                   .fields = {usage::text("text", 0, kLongestPayload, "\"\\r\" as typed stands for CR"),
                              usage::text("hex", 0, 0, "the text, \" %02X\" for every byte")},
                   .replies = {{"{line}\r\n"}, {"", "the display service does not take it"}},
                   .calls = {{service::displayControl, "HexRS232zone", "{hex}"}}}},
        .adjacent = true,
        .remarks = {"Is answered once the line has been quiet for 30 ms; lines that come before belong to the text."}};
}

}  // namespace

void describeGroupRows(UsageList& list)
{
    list.push_back({groupRow, groupUsage});
    list.push_back({noOperationRow, zoneUsage});
}
