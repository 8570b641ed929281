#include "diagnostics/linkMonitoring.h"

#include <string_view>

#include "diagnostics/linkDump.h"
#include "diagnostics/linkReport.h"
#include "platform/store.h"
#include "platform/support/fixedText.h"
#include "platform/support/ownership.h"
#include "platform/support/report.h"

namespace {

constexpr char kTxDump[] = "video.vidIn.hdbtIn.hdbtIn1.linkMonitoring.TX.allHexString";
constexpr char kRxDump[] = "video.vidIn.hdbtIn.hdbtIn1.linkMonitoring.RX.allHexString";
constexpr char kRespondFrom[] = "video.vidIn.hdbtIn.hdbtIn1.linkMonitoring.respondFrom";
constexpr char kTriggeredBy[] = "video.vidIn.hdbtIn.hdbtIn1.linkMonitoring.trigerBy";
constexpr char kRequestedMode[] = "video.vidIn.hdbtIn.hdbtIn1.linkMonitoring.requestStatusValue";

std::string_view textAt(json_token* document, const char* path)
{
    return json_token_object_walk_get_string(document, path, "");
}

// What the requester wants to see; empty when nobody asked.
std::string_view wantedMode(json_token* document)
{
    if (textAt(document, kRespondFrom) != "stat") {
        return "";
    }
    const std::string_view trigger = textAt(document, kTriggeredBy);
    if (trigger == "RS232") {
        return "allhex";
    }
    if (trigger == "web") {
        return "update";
    }
    return trigger == "RS232ShowAll" ? textAt(document, kRequestedMode) : "";
}

void answerRequest(json_token* document)
{
    const std::string_view txDump = textAt(document, kTxDump);
    const std::string_view rxDump = textAt(document, kRxDump);
    if (txDump.size() == kLinkDumpLength && rxDump.size() == kLinkDumpLength) {
        reportLink(wantedMode(document), txDump, rxDump);
    }
}

JsonToken orReported(json_token* token, const char* label)
{
    JsonToken document(token);
    if (document == nullptr) {
        reportSystemError(label);
    }
    return document;
}

}  // namespace

void linkMonitoringChanged(const ConsoleParameter& record, const char* payload, ChangeWalk walk)
{
    // Kept: the area's name is missing; the record stands in its place and is taken for a text, so that its first
    // member is read as characters. A store query for that finds nothing.
    const char area[] = {static_cast<char>(record.sourceType), '\0'};
    FixedText<128> query;
    query.format("{\"%s\":{}}", area);
    // Kept: the second label names the settings call.
    const JsonToken document = payload != nullptr ? orReported(json_token_parse(payload), "json_token_parse")
                                                  : orReported(user_status_query_to_json_token(query.c_str()),
                                                               "user_config_query_to_json_token");
    if (document == nullptr) {
        return;
    }
    if (record.sourceType == kExternalConsole) {
        answerRequest(document.get());
    }
    walk(document.get(), area, true);
}
