// The four line parameters of a serial interface, set and reported together: `NAME [baudrate,databit,parity,stopbit]`
// and `NAME sta`. The port itself is reopened by whoever listens to the change.
#pragma once

#include <array>
#include <cstddef>

#include "commands/settingChange.h"

/// Baud rate (bit/s), data bits, parity (0 to 2, as the serial port takes it), stop bits.
using LineParameters = std::array<int, 4>;

struct LineParameterRules {
    std::array<const char*, 4> leaves;         // templates, in the order of LineParameters
    const char* document;                      // template of all four
    std::array<std::size_t, 4> documentOrder;  // which parameter each of its placeholders takes
    const Announcement& announcement;
    unsigned settleUs;  // pause between echo and change: the echo has left at the old speed then
};

namespace announce {
// Kept: this label names the wrong area.
inline constexpr Announcement farEndLine{topic::system,
                                         "publishEvent(controlUserConfigChanged SYSTEM_CMD_REQ_DEFAULT!)"};
}  // namespace announce

inline constexpr LineParameterRules consoleLine{
    .leaves = {intLeaf<"system.uart.interface1.baudrate">, intLeaf<"system.uart.interface1.databit">,
               intLeaf<"system.uart.interface1.parity">, intLeaf<"system.uart.interface1.stopbit">},
    .document = R"({"system":{"uart":{"interface1":{"baudrate":%d,"databit":%d,"parity":%d,"stopbit":%d}}}})",
    .documentOrder = {0, 1, 2, 3},
    .announcement = announce::system,
    .settleUs = 200'000};
inline constexpr LineParameterRules receiverLine{
    .leaves = {intLeaf<"system.uart.interface2.baudrate">, intLeaf<"system.uart.interface2.databit">,
               intLeaf<"system.uart.interface2.parity">, intLeaf<"system.uart.interface2.stopbit">},
    .document = R"({"system":{"uart":{"interface2":{"baudrate":%d,"databit":%d,"parity":%d,"stopbit":%d}}}})",
    .documentOrder = {0, 1, 2, 3},
    .announcement = announce::system,
    .settleUs = 0};
// Kept: this document ends with the baud rate.
inline constexpr LineParameterRules farEndLine{
    .leaves = {intLeaf<"system.uart.interface3.baudrate">, intLeaf<"system.uart.interface3.databit">,
               intLeaf<"system.uart.interface3.parity">, intLeaf<"system.uart.interface3.stopbit">},
    .document = R"({"system":{"uart":{"interface3":{"databit":%d,"parity":%d,"stopbit":%d,"baudrate":%d}}}})",
    .documentOrder = {1, 2, 3, 0},
    .announcement = announce::farEndLine,
    .settleUs = 200'000};

int runLineParameters(const LineParameterRules& rules, const CommandCall& call);

template <const LineParameterRules& rules>
int lineParametersCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    return runLineParameters(rules, {line, name, args, fromEvent, jsonTemplate});
}

namespace report {
// The parameters stored for interface 1, 2 and 3, whatever the value; nothing when one cannot be read.
void uart1(const char* name, const ReportValue& value);
void uart2(const char* name, const ReportValue& value);
void uart3(const char* name, const ReportValue& value);
}  // namespace report
