#include "commands/serialLineParameters.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <unistd.h>

#include "commands/usages.h"
#include "console/argumentText.h"
#include "platform/store.h"
#include "platform/support/report.h"

namespace {

constexpr int kBaudRates[] = {2'400, 4'800, 9'600, 19'200, 38'400, 57'600, 115'200};

enum class Verdict { accepted, refused, refusedSilently };

bool isBaudRate(int number)
{
    return std::find(std::begin(kBaudRates), std::end(kBaudRates), number) != std::end(kBaudRates);
}

// The conversion stops at the comma or the bracket behind the field; a missing field reads as 0.
int fieldNumber(std::string_view field)
{
    return leadingNumber(field.data());
}

// All fields but the first are single bytes.
int fieldByte(std::string_view field)
{
    return fieldNumber(field) & 0xFF;
}

// "[baudrate,databit,parity,stopbit]"; runs of commas count as one.
Verdict parseParameters(std::string_view args, LineParameters& parameters)
{
    auto& [baudRate, dataBits, parity, stopBits] = parameters;

    const std::string_view first = nextPiece(args, ',');
    baudRate = fieldNumber(first.substr(1));
    if (!isBaudRate(baudRate)) {
        return Verdict::refused;
    }
    dataBits = fieldByte(nextPiece(args, ','));
    if (dataBits != 7 && dataBits != 8) {
        return Verdict::refused;
    }
    parity = fieldByte(nextPiece(args, ','));
    if (parity > 2) {
        return Verdict::refusedSilently;  // Kept: an unknown parity alone is not answered.
    }
    const std::string_view fourth = nextPiece(args, ',');
    if (fourth.size() != 2) {  // the digit and the closing bracket
        return Verdict::refused;
    }
    stopBits = fieldByte(fourth);
    if (stopBits != 1 && stopBits != 2) {
        return Verdict::refused;
    }
    return nextPiece(args, ',').empty() ? Verdict::accepted : Verdict::refused;
}

std::optional<LineParameters> readParameters(const LineParameterRules& rules)
{
    LineParameters parameters{};
    bool complete = true;
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const auto stored = readInt(rules.leaves[i]);
        parameters[i] = stored.value_or(0);
        complete = complete && stored.has_value();
    }
    return complete ? std::optional(parameters) : std::nullopt;
}

void showParameters(const LineParameterRules& rules, const char* name)
{
    if (const auto stored = readParameters(rules)) {
        const auto& [baudRate, dataBits, parity, stopBits] = *stored;
        uartReply("%s[%d,%d,%d,%d]\r\n", name, baudRate, dataBits, parity, stopBits);
    }
}

// The echo comes first: its bytes have to leave before the change may reopen the port.
void setParameters(const LineParameterRules& rules, const CommandCall& call, const LineParameters& parameters)
{
    const auto old = readParameters(rules);
    const auto& order = rules.documentOrder;
    Document document;
    const bool whole = fill(document, rules.document, parameters[order[0]], parameters[order[1]], parameters[order[2]],
                            parameters[order[3]]);
    if (call.wantsReply()) {
        uartReply("%s\r\n", call.line);
    }
    if (rules.settleUs != 0) {
        ::usleep(rules.settleUs);
    }
    if (old == parameters) {
        publishChange(rules.announcement, document.c_str(), 1);
    } else if (!whole || user_config_update(document.c_str()) != 0) {
        reportSystemError("user_config_update");
    }
}

}  // namespace

int runLineParameters(const LineParameterRules& rules, const CommandCall& call)
{
    const std::string_view args(call.args);
    if (args == "sta") {
        showParameters(rules, call.name);
        return 1;
    }
    if (!args.starts_with('[') || !args.ends_with(']')) {
        return refuse(call.line);
    }
    LineParameters parameters{};
    switch (parseParameters(args, parameters)) {
    case Verdict::accepted: setParameters(rules, call, parameters); break;
    case Verdict::refused: return refuse(call.line);
    case Verdict::refusedSilently: break;
    }
    return 1;
}

void report::uart1(const char* name, const ReportValue& /*value*/)
{
    showParameters(consoleLine, name);
}

void report::uart2(const char* name, const ReportValue& /*value*/)
{
    showParameters(receiverLine, name);
}

void report::uart3(const char* name, const ReportValue& /*value*/)
{
    showParameters(farEndLine, name);
}

namespace {

UsageForm setLineForm(const LineParameterRules& rules)
{
    std::vector<std::string> rates;
    for (const int rate : kBaudRates) {
        rates.push_back(std::to_string(rate));
    }
    UsageField parity = usage::oneOf("parity", {"0", "1", "2"});
    parity.meanings = {"none", "odd", "even"};
    parity.silent = true;
    UsageForm form{.argument = "[{baudRate},{dataBits},{parity},{stopBits}]",
                   .effect = "Sets the line's parameters.",
                   .fields = {usage::oneOf("baudRate", rates), usage::oneOf("dataBits", {"7", "8"}), parity,
                              usage::oneOf("stopBits", {"1", "2"})},
                   .replies = {{"{line}\r\n"}},
                   .unchangedTopic = unchangedTopic(rules.announcement, PublishRule::whenUnchangedOnce),
                   .answersUnstored = true};
    for (std::size_t i = 0; i < rules.leaves.size(); ++i) {
        form.fields[i].lenient = true;
        form.stores.push_back({.value = usage::place(form.fields[i].name), .jsonTemplate = rules.leaves[i]});
    }
    return form;
}

template <const LineParameterRules& rules>
Usage lineUsage(const CommandEntry& row)
{
    const UsageForm status{.argument = "sta",
                           .effect = "Answers the parameters.",
                           .fields = {usage::integer("baudRate", 0, 0), usage::integer("dataBits", 0, 0),
                                      usage::integer("parity", 0, 0), usage::integer("stopBits", 0, 0)},
                           .replies = {{std::string(row.name) + "[{baudRate},{dataBits},{parity},{stopBits}]\r\n"},
                                       {"", "one of them is not in the store"}}};
    return {.forms = {setLineForm(rules), status},
            .remarks = {"The port is reopened after the answer, which still leaves at the old speed."}};
}

}  // namespace

void describeSerialLines(UsageList& list)
{
    list.push_back({lineParametersCommand<consoleLine>, lineUsage<consoleLine>});
    list.push_back({lineParametersCommand<receiverLine>, lineUsage<receiverLine>});
    list.push_back({lineParametersCommand<farEndLine>, lineUsage<farEndLine>});
}
