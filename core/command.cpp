#include "core/command.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <poll.h>
#include <span>
#include <string_view>
#include <unistd.h>

#include "console/topics.h"
#include "core/changeWalker.h"
#include "core/uartParamInit.h"
#include "diagnostics/linkMonitoring.h"
#include "platform/commandRunner.h"
#include "platform/eventBus.h"
#include "platform/store.h"
#include "platform/support/report.h"
#include "platform/support/settings.h"
#include "serial/portKeeper.h"
#include "serial/replyWriter.h"

namespace {

constexpr unsigned kRebootDelayS = 3;
// Stands in the record for a line setting whose value has another type, or is beyond every int.
constexpr int kNoInt = 99;

struct EventBusClose {
    void operator()(eventbus* bus) const { eventbus_close(bus); }
};
using EventBus = std::unique_ptr<eventbus, EventBusClose>;

Mutex g_stopMutex;
int g_stop GUARDED_BY(g_stopMutex) = 0;

ConsoleParameter& recordOf(void* context)
{
    return *static_cast<ConsoleParameter*>(context);
}

JsonToken parseReported(const char* payload)
{
    JsonToken document(json_token_parse(payload));
    if (document == nullptr) {
        reportSystemError("json_token_parse");
    }
    return document;
}

JsonToken orReported(json_token* queried)
{
    JsonToken document(queried);
    if (document == nullptr) {
        reportSystemError("user_config_query_to_json_token");
    }
    return document;
}

JsonToken parseOrWarn(const char* payload)
{
    JsonToken document(payload != nullptr ? json_token_parse(payload) : nullptr);
    if (document == nullptr) {
        printError("Warnning! newObj==NULL!\r\n");
    }
    return document;
}

void onAreaChange(void* area, const char* payload)
{
    if (payload == nullptr) {
        return;
    }
    if (const JsonToken document = parseReported(payload)) {
        walkChange(document.get(), static_cast<const char*>(area), true);
    }
}

void onSystemStatusChange(void* area, const char* payload)
{
    const JsonToken document =
        payload != nullptr ? parseReported(payload) : orReported(user_status_query_to_json_token("{\"system\":{}}"));
    if (document != nullptr) {
        walkChange(document.get(), static_cast<const char*>(area), true);
    }
}

// One line setting that an event may change: where it stands in the payload, where it is kept, its name in messages.
struct LineField {
    const char* path;
    std::int32_t ConsoleParameter::*field;
    const char* label;
};

constexpr LineField kConsoleFields[] = {
    {"system.uart.interface1.baudrate", &ConsoleParameter::baudrate, "intergerFromJson"},
    {"system.uart.interface1.databit", &ConsoleParameter::datalen, "intergerDatalen"},
    {"system.uart.interface1.parity", &ConsoleParameter::parity, "intergerParity"},
    {"system.uart.interface1.stopbit", &ConsoleParameter::stop, "intergerStop"},
};

constexpr LineField kLinkFields[] = {
    {"system.uart.interface3.baudrate", &ConsoleParameter::hdbt_baudrate, "intergerBaudRate"},
    {"system.uart.interface3.databit", &ConsoleParameter::hdbt_datalen, "intergerDatalen"},
    {"system.uart.interface3.parity", &ConsoleParameter::hdbt_parity, "intergerParity"},
    {"system.uart.interface3.stopbit", &ConsoleParameter::hdbt_stop, "intergerStop"},
};

bool takeLineFields(ConsoleParameter& record, json_token* document, std::span<const LineField> fields)
{
    bool changed = false;
    for (const LineField& field : fields) {
        if (json_token_object_walk_get_token(document, field.path) == nullptr) {
            continue;  // left out, or null: stays as it is
        }
        const int value = json_token_object_walk_get_int(document, field.path, kNoInt);
        if (record.*field.field != value) {
            record.*field.field = value;
            printOut("Value Change! %s=%d\r\n", field.label, value);
            changed = true;
        }
    }
    return changed;
}

void reopenPort(ConsoleParameter& record)
{
    printOut("uart_close2()\r");
    closePort(record);
    const bool internal = record.sourceType == kInternalHdbtLink;
    printOut("uart_open2(%s,%d,%d,%d,%d,%d)\r\n", record.serialdev, internal ? record.hdbt_baudrate : record.baudrate,
             internal ? record.hdbt_datalen : record.datalen, internal ? record.hdbt_stop : record.stop,
             internal ? record.hdbt_parity : record.parity, 0);
    openOwnPort(record);
    if (record.uart.hold() == nullptr) {
        printOut("++++++++\tpStrExample->uart NULL!!!!!!\r");
    }
}

// The far end has been identified, or is about to be: the link keeps its settings.
bool linkIsSettled()
{
    const PlatformText identify = readStatusText(textLeaf<"control.wpHsk.identifyStatus">);
    const PlatformText remote = readStatusText(textLeaf<"control.wpHsk.remoteIpSettings.ipaddr">);
    const char* remoteIp = remote != nullptr ? remote.get() : "";
    printError("\033[1;31;36m[%s][%d] remoteIP=%s\033[0m\n", "uartBuadrateChange_hdbt", __LINE__, remoteIp);
    printError("\033[1;31;36m[%s][%d] strlen(remoteIP)=%zu\033[0m\n", "uartBuadrateChange_hdbt", __LINE__,
               std::strlen(remoteIp));
    const std::string_view status(identify != nullptr ? identify.get() : "");
    return status == "idle" || status == "success";
}

void reactToLineSettings(ConsoleParameter& record, const char* label, const char* payload, json_token* document,
                         std::span<const LineField> fields)
{
    printError("\033[1;31;36m[%s][%d] pConsoleParameterA->sourceType=%d\033[0m\n", label, __LINE__, record.sourceType);
    printError("\033[1;31;36m[%s][%d] params=%s\033[0m\n", label, __LINE__, payload != nullptr ? payload : "(null)");
    if (payload == nullptr) {
        printError("Warnning! ctx==NULL || params==NULL!\r\n");
        return;
    }
    if (record.sourceType == kInternalHdbtLink && linkIsSettled()) {
        return;
    }
    if (takeLineFields(record, document, fields)) {
        reopenPort(record);
    }
}

void onSystemChange(void* context, const char* payload)
{
    ConsoleParameter& record = recordOf(context);
    const JsonToken document =
        payload != nullptr ? parseReported(payload) : orReported(user_config_query_to_json_token("{\"system\":{}}"));
    if (document == nullptr) {
        return;
    }
    walkChange(document.get(), "system", true);
    if (record.sourceType == kExternalConsole) {
        reactToLineSettings(record, "uartBuadrateChange", payload, document.get(), kConsoleFields);
    } else if (record.sourceType == kInternalHdbtLink) {
        reactToLineSettings(record, "uartBuadrateChange_hdbt", payload, document.get(), kLinkFields);
    }
}

void onCommandFeedback(void* /*record*/, const char* /*payload*/)
{
}

void onVideoStatusChange(void* context, const char* payload)
{
    linkMonitoringChanged(recordOf(context), payload, walkChange);
}

void onIdentifyStatus(void* /*area*/, const char* payload)
{
    const JsonToken document = parseOrWarn(payload);
    constexpr char kPath[] = "control.wpHsk.identifyStatus";
    if (document == nullptr || json_token_object_walk_get_token(document.get(), kPath) == nullptr) {
        return;
    }
    const std::string_view status(json_token_object_walk_get_string(document.get(), kPath, ""));
    wpIsSuccess.store(status == "success" ? 1 : 0, std::memory_order_relaxed);
}

void onProjectorText(void* /*area*/, const char* payload)
{
    if (payload != nullptr) {
        uartPassThrough("%s", payload);
    }
}

void onUpgradeState(void* /*unused*/, const char* payload)
{
    if (payload == nullptr || std::string_view(payload) == "Sys Default\r") {
        return;
    }
    if (std::string_view(payload) != "Web Reboot\r") {
        printOut("unknown upgrade state : %s\n", payload);
        return;
    }
    publishReported(topic::upgradeQuery, "Sys Reboot\r",
                    "publishEvent(UpgradeSlaveVersionQuery SYSTEM_CMD_REQ_DEFAULT!)");
    sleep(kRebootDelayS);
    lsystem("reboot");
}

void listenStatusNetworkJson(void* /*record*/, const char* payload)
{
    printError("\033[1;31;36m[%s][%d] params=%s\033[0m\n", "listenStatusNetworkJson", __LINE__,
               payload != nullptr ? payload : "(null)");
    const JsonToken document = parseOrWarn(payload);
    if (document == nullptr) {
        return;
    }
    constexpr char kLink[] = "network.valens.linkStatus";
    if (json_token_object_walk_get_token(document.get(), kLink) != nullptr) {
        const int up = json_token_object_walk_get_boolean(document.get(), kLink, 0);
        g_valensLinkStatus.store(up, std::memory_order_relaxed);
        printError("\033[1;31;36m[%s][%d] ############# g_valensLinkStatus=%d\033[0m\n", "listenStatusNetworkJson",
                   __LINE__, up);
    }
    constexpr char kClients[] = "network.telnet.connect9001Count";
    if (json_token_object_walk_get_token(document.get(), kClients) != nullptr) {
        const int clients = json_token_object_walk_get_int(document.get(), kClients, 0);
        g_connect9001Count.store(clients, std::memory_order_relaxed);
        printError("\033[1;31;36m[%s][%d] ############# g_connect9001Count=%d\033[0m\n", "listenStatusNetworkJson",
                   __LINE__, clients);
    }
}

// What a handler is called with: the area's name, or the record.
struct Subscription {
    const char* topic;
    eventbus_callback handler;
    const char* area;     // null: the record
    const char* message;  // null: a failure is not told
};

constexpr Subscription kSubscriptions[] = {
    {topic::control, onAreaChange, "control", "eventbus_subscribe controlUserConfigChanged"},
    {"configUserConfigChanged", onAreaChange, "config", "eventbus_subscribe configUserConfigChanged"},
    {topic::audio, onAreaChange, "audio", "eventbus_subscribe audioUserConfigChanged"},
    {topic::video, onAreaChange, "video", "eventbus_subscribe videoUserConfigChanged"},
    {topic::network, onAreaChange, "network", "eventbus_subscribe networkUserConfigChanged"},
    {topic::system, onSystemChange, nullptr, "eventbus_subscribe systemUserConfigChanged"},
    {topic::commandFeedback, onCommandFeedback, nullptr, "eventbus_subscribe CommandFeedback"},
    {"videoStatusConfigChanged", onVideoStatusChange, nullptr, "eventbus_subscribe videoStatusConfigChanged"},
    {"systemStatusConfigChanged", onSystemStatusChange, "system", "eventbus_subscribe systemStatusConfigChanged"},
    // Kept: this label names the row above.
    {"controlStatusConfigChanged", onIdentifyStatus, "control", "eventbus_subscribe systemStatusConfigChanged"},
    {"uartProjectorEvent", onProjectorText, "uartProjector", "eventbus_subscribe uartProjectorEvent"},
    {topic::upgradeQuery, onUpgradeState, "", nullptr},
    {"networkStatusConfigChanged", listenStatusNetworkJson, nullptr, "eventbus_subscribe networkStatusConfigChanged"},
};

bool subscribeAll(eventbus* bus, ConsoleParameter& record)
{
    for (const Subscription& subscription : kSubscriptions) {
        void* context =
            subscription.area != nullptr ? const_cast<char*>(subscription.area) : static_cast<void*>(&record);
        if (eventbus_subscribe(bus, subscription.topic, subscription.handler, context) != 0) {
            if (subscription.message != nullptr) {
                reportSystemError(subscription.message);
            }
            return false;
        }
    }
    return true;
}

bool stopAsked()
{
    const MutexLock lock(g_stopMutex);
    return g_stop != 0;
}

void deliverUntilFailure(eventbus* bus, ConsoleParameter& record)
{
    pollfd descriptor{eventbus_fileno(bus), POLLIN, 0};
    while (!stopAsked()) {
        if (::poll(&descriptor, 1, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            reportSystemError("poll");
            return;
        }
        const RecordLock lock(record.mutex);
        if (eventbus_on_data_available(bus) != 0) {
            reportSystemError("eventbus_on_data_available");
            return;
        }
    }
}

}  // namespace

void* doListenEventLoop(void* argument)
{
    ConsoleParameter& record = recordOf(argument);
    EventBus bus(eventbus_open());
    if (bus == nullptr) {
        reportSystemError("[doListenEventLoop]eventbus_open");
    } else {
        if (!subscribeAll(bus.get(), record)) {
            static_cast<void>(bus.release());  // Kept: a failed subscription leaves the connection open.
            return nullptr;
        }
        deliverUntilFailure(bus.get(), record);
        bus.reset();
    }
    const MutexLock lock(g_stopMutex);
    g_stop = 1;
    return nullptr;
}
