#include "core/serviceEndpoints.h"

#include <cerrno>
#include <cstring>
#include <string_view>

#include "console/dispatcher.h"
#include "core/processName.h"
#include "core/uartParamInit.h"
#include "platform/support/fixedText.h"
#include "platform/support/hexText.h"
#include "platform/support/report.h"
#include "platform/support/settings.h"
#include "serial/portKeeper.h"
#include "serial/replyWriter.h"

namespace {

constexpr char kSource[] = "uartEvenbusReadline";
constexpr char kResetDevice[] = "/dev/ttyS6";

// A text for a message; printf has no word for null.
const char* shown(const char* text)
{
    return text != nullptr ? text : "(null)";
}

ConsoleParameter& recordOf(void* context)
{
    return *static_cast<ConsoleParameter*>(context);
}

// Kept: both roles reopen the board's console device, not their own, and the record's line settings stay as they are.
int uartReset(void* context, lpc_request* request)
{
    ConsoleParameter& record = recordOf(context);
    printOut("[%s]params=%s\r\n", "UartReset", shown(lpc_request_params(request)));
    closePort(record);
    const LineSettings stored = readInterface1(0);
    openPort(record, {kResetDevice, stored.baudrate, stored.databit, stored.stopbit, stored.parity});
    return lpc_request_completed(request);
}

LineSettings farEndUserSettings()
{
    return {readInt(intLeaf<"system.uart.interface3.baudrate">).value_or(-1),
            readInt(intLeaf<"system.uart.interface3.databit">).value_or(-1),
            readInt(intLeaf<"system.uart.interface3.parity">).value_or(-1),
            // Kept: the stop bits come from interface 2.
            readInt(intLeaf<"system.uart.interface2.stopbit">).value_or(-1)};
}

void reopenLink(ConsoleParameter& record, const LineSettings& settings)
{
    closePort(record);
    record.hdbt_baudrate = settings.baudrate;
    record.hdbt_datalen = settings.databit;
    record.hdbt_parity = settings.parity;
    record.hdbt_stop = settings.stopbit;
    printOut("[%s][%s][%s][%d] uart_open2 (%s,%d,%d,%d,%d,%d)\r\n", programName(), kSource, "HDBTRS232Set", __LINE__,
             record.serialdev, settings.baudrate, settings.databit, settings.parity, settings.stopbit, 0);
    openOwnPort(record);
    if (record.uart.hold() == nullptr) {
        printOut("++++++++\tpStrExample->uart NULL!!!!!!\r");
    }
}

int hdbtRs232Set(void* context, lpc_request* request)
{
    ConsoleParameter& record = recordOf(context);
    const char* params = lpc_request_params(request);
    printOut("[%s][%s][%s][%d] params=%s \r\n", programName(), kSource, "HDBTRS232Set", __LINE__, shown(params));
    if (params == nullptr) {
        return lpc_request_completed(request);
    }
    const std::string_view mode(params);
    if (mode == "default") {
        reopenLink(record, {115200, 8, 0, 1});
    } else if (mode == "user") {
        reopenLink(record, farEndUserSettings());
    } else {
        printOut("[%s] Parameter fail, params = %s\r\n", "HDBTRS232Set", params);
    }
    return lpc_request_completed(request);
}

// The only way besides the serial line by which a command reaches the dispatcher; no text is an empty line.
int wpDispBtn(void* /*context*/, lpc_request* request)
{
    const char* params = lpc_request_params(request);
    const char* line = params != nullptr ? params : "";
    printError("\033[1;31;36m[%s][%s][%d] params=%s, strlen(params)=%zu\033[0m\n", kSource, "wpDispBtn", __LINE__, line,
               std::strlen(line));
    UserCommandHandler(0, line, static_cast<int>(std::strlen(line)));
    return lpc_request_completed(request);
}

int rs232zone(void* /*context*/, lpc_request* request)
{
    const char* params = lpc_request_params(request);
    const char* text = params != nullptr ? params : "";
    printOut("[%s] params=%s, strlen(params)=%zu\r\n", "RS232zone", text, std::strlen(text));
    uartPassThrough("%s", text);
    return lpc_request_completed(request);
}

// Hex pieces separated by blanks, one byte each; the text counts up to its 255th byte.
int rs232zone900XPort(void* /*context*/, lpc_request* request)
{
    FixedText<256> text;
    FixedText<256> bytes;
    const char* params = lpc_request_params(request);
    text.append(params != nullptr ? params : "");
    std::string_view rest = text.view();
    while (!rest.empty()) {
        const std::size_t end = rest.find(' ');
        const std::string_view piece = rest.substr(0, end);
        if (!piece.empty()) {
            bytes.append(static_cast<char>(hexNumber(piece) & 0xFF));
        }
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    if (params != nullptr) {
        printError("\033[1;31;36m[%s][%d] HHH!!! params=%s\033[0m\n", "RS232zone900XPort", __LINE__, params);
        if (uartWriteRaw(bytes.c_str(), bytes.size()) == -1 && errno == ETIMEDOUT) {
            reportSystemError("write");
        }
    }
    return lpc_request_completed(request);
}

constexpr lpc_method kExternalMethods[] = {
    {"UartReset", uartReset},
    {"wpDispBtn", wpDispBtn},
};

constexpr lpc_method kInternalMethods[] = {
    {"UartReset", uartReset},
    {"RS232zone", rs232zone},
    {"HDBTRS232Set", hdbtRs232Set},
    {"RS232zone900XPort", rs232zone900XPort},
};

}  // namespace

const char* serviceName(int sourceType)
{
    switch (sourceType) {
    case kExternalConsole: return "lpcExampledNoUse";
    case kInternalHdbtLink: return "lpcExampledNoUse2";
    default: return nullptr;
    }
}

lpc_service* createService(ConsoleParameter& record)
{
    switch (record.sourceType) {
    case kExternalConsole:
        return lpc_service_create(serviceName(record.sourceType), kExternalMethods, std::size(kExternalMethods),
                                  &record);
    case kInternalHdbtLink:
        return lpc_service_create(serviceName(record.sourceType), kInternalMethods, std::size(kInternalMethods),
                                  &record);
    default: return nullptr;
    }
}
