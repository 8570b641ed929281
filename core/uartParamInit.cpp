#include "core/uartParamInit.h"

#include <cstring>

#include "platform/store.h"
#include "platform/support/report.h"
#include "platform/support/settings.h"
#include "serial/portKeeper.h"

namespace {

// A stored value this far out means none: the driver then takes 9600 bit/s, 8 bits, even parity, one stop bit.
constexpr int kMissing = 99;

void printField(const char* field, int value)
{
    printError("\033[1;31;36m[%s][%d] pConsoleParameterA->%s=%d\033[0m\n", "uartParamInit", __LINE__, field, value);
}

void initInterface1(ConsoleParameter& record)
{
    const LineSettings stored = readInterface1(kMissing);
    record.baudrate = stored.baudrate;
    record.datalen = stored.databit;
    record.parity = stored.parity;
    record.stop = stored.stopbit;
    printError("\033[1;31;36m[%s][%d] pConsoleParameterA->serialdev=%s\033[0m\n", "uartParamInit", __LINE__,
               record.serialdev);
    printField("baudrate", record.baudrate);
    printField("datalen", record.datalen);
    printField("parity", record.parity);
    printField("stop", record.stop);
}

// The link always starts at 115200 8N1, whatever is stored.
void initHdbtLink(ConsoleParameter& record)
{
    record.hdbt_baudrate = 115200;
    record.hdbt_datalen = 8;
    record.hdbt_parity = 0;
    record.hdbt_stop = 1;
    printField("hdbt_baudrate", record.hdbt_baudrate);
    printField("hdbt_datalen", record.hdbt_datalen);
    printField("hdbt_parity", record.hdbt_parity);
    printField("hdbt_stop", record.hdbt_stop);
}

}  // namespace

LineSettings readInterface1(int missing)
{
    const JsonToken system(user_config_query_to_json_token("{\"system\":{}}"));
    const auto walk = [&](const char* path) {
        return system != nullptr ? json_token_object_walk_get_int(system.get(), path, missing) : missing;
    };
    return {walk("system.uart.interface1.baudrate"), walk("system.uart.interface1.databit"),
            walk("system.uart.interface1.parity"), walk("system.uart.interface1.stopbit")};
}

int uartParamInit(ConsoleParameter& record)
{
    if (record.sourceType == kExternalConsole) {
        initInterface1(record);
        openOwnPort(record);
    } else if (record.sourceType == kInternalHdbtLink) {
        initHdbtLink(record);
        openOwnPort(record);
    }

    const PlatformText identify = readStatusText(textLeaf<"control.wpHsk.identifyStatus">);
    wpIsSuccess.store(identify != nullptr && std::strcmp(identify.get(), "success") == 0 ? 1 : 0,
                      std::memory_order_relaxed);
    g_connect9001Count.store(readStatusInt(intLeaf<"network.telnet.connect9001Count">).value_or(0),
                             std::memory_order_relaxed);
    pConsoleParameterA = &record;
    return 1;
}

void openOwnPort(ConsoleParameter& record)
{
    if (record.sourceType == kInternalHdbtLink) {
        openPort(record,
                 {record.serialdev, record.hdbt_baudrate, record.hdbt_datalen, record.hdbt_stop, record.hdbt_parity});
    } else {
        openPort(record, {record.serialdev, record.baudrate, record.datalen, record.stop, record.parity});
    }
}
