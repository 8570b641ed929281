#include "commands/network.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <strings.h>

#include "commands/settingChange.h"
#include "commands/usages.h"
#include "console/argumentText.h"
#include "console/peerCall.h"
#include "console/reporters.h"

namespace {

constexpr const char* kAddressMode = textLeaf<"network.eth0.bootProto">;
constexpr const char* kAddress = textLeaf<"network.eth0.ipSettings.ipaddr">;
constexpr const char* kNetmask = textLeaf<"network.eth0.ipSettings.netmask">;
constexpr const char* kGateway = textLeaf<"network.eth0.ipSettings.gateway">;
constexpr char kAddresses[] = R"({"network":{"eth0":{"ipSettings":{"ipaddr":"%s","netmask":"%s","gateway":"%s"}}}})";

constexpr std::string_view kUnsetAddress = "0.0.0.0";
constexpr int kHighestPort = 65'535;
constexpr int kLongestTimeout = 3'600;  // s

struct AddressLine {
    const char* label;
    const char* jsonTemplate;
};

constexpr AddressLine kAddressLines[] = {
    {"IP Addr", kAddress},
    {"Netmask", kNetmask},
    {"Gateway", kGateway},
};

using TextReader = PlatformText (*)(const char* jsonTemplate);

PlatformText noAddress(const char* /*jsonTemplate*/)
{
    return PlatformText(::strdup(kUnsetAddress.data()));
}

// Where the addresses in force can be read, or null when that cannot be told.
TextReader addressSource()
{
    const PlatformText mode = readText(kAddressMode);
    const auto ethernetUp = readStatusBool(boolLeaf<"network.eth0.linkStatus">);
    const auto hdbtUp = readStatusBool(boolLeaf<"network.valens.linkStatus">);
    if (mode == nullptr || !ethernetUp || !hdbtUp) {
        return nullptr;
    }
    const bool up = *ethernetUp || *hdbtUp;
    if (mode.get() == std::string_view("DHCP")) {
        return up ? readStatusText : noAddress;
    }
    if (mode.get() != std::string_view("STATIC")) {
        return nullptr;
    }
    if (!up) {
        return readText;
    }
    const PlatformText liveGateway = readStatusText(kGateway);
    if (liveGateway == nullptr) {
        return nullptr;
    }
    // Without a live gateway the addresses are not in force yet.
    return liveGateway.get() == kUnsetAddress ? readText : readStatusText;
}

struct StaticAddresses {
    FixedText<32> fields[3];  // address, netmask, gateway
};

// Every piece has to be an address, also one too many.
bool parseAddresses(std::string_view args, StaticAddresses& addresses)
{
    std::size_t count = 0;
    for (std::string_view piece = nextPiece(args, ' '); !piece.empty(); piece = nextPiece(args, ' ')) {
        FixedText<32> text;
        in_addr ignored{};
        if (!text.append(piece) || inet_aton(text.c_str(), &ignored) == 0) {
            return false;
        }
        if (count < std::size(addresses.fields)) {
            addresses.fields[count] = text;
        }
        ++count;
    }
    return count == std::size(addresses.fields);
}

bool alreadyStored(const StaticAddresses& addresses)
{
    bool same = true;
    for (std::size_t i = 0; i < std::size(kAddressLines); ++i) {
        const PlatformText stored = readText(kAddressLines[i].jsonTemplate);
        same = same && stored != nullptr && stored.get() == addresses.fields[i].view();
    }
    return same;
}

int setAddressMode(const CommandCall& call, const char* mode, const char* word)
{
    if (changeText(call, announce::network, PublishRule::whenUnchanged, mode) && call.wantsReply()) {
        uartReply("%s %s\r\n", call.name, word);
    }
    return 1;
}

void restartTelnet(int port)
{
    FixedText<12> text;
    text.format("%d", port);
    callPeer(service::network, "TelnetRestart", text.c_str());
}

bool setTimeout(const CommandCall& call, int seconds)
{
    return changeNumber(call, announce::network, PublishRule::unchangedEventOnly, seconds);
}

constexpr char kEndSessions[] = "killall *cmdd";

// Sessions that were let in under the old login mode have to log in again.
void endTelnetSessions()
{
    [[maybe_unused]] const int status = std::system(kEndSessions);
}

int setLogin(const CommandCall& call, bool on)
{
    const bool unchanged = readBool(call.jsonTemplate).value_or(false) == on;
    const int count = publishCount(PublishRule::unchangedEventOnly, unchanged, call.fromEvent);
    if (!changeSetting(announce::network, call.jsonTemplate, on, count)) {
        return 1;
    }
    if (count != 0) {
        return 1;  // an event that brings nothing new ends no session
    }
    if (call.wantsReply()) {
        uartReply("%s %s\r\n", call.name, on ? "on" : "off");
    }
    // Kept: also when the mode did not change, so that an operator can throw everybody out.
    endTelnetSessions();
    return 1;
}

}  // namespace

int ipConfigurationCommand(const char* line, const char* /*name*/, const char* args, int /*fromEvent*/,
                           const char* /*jsonTemplate*/)
{
    if (*args != '\0') {
        return refuse(line);
    }
    const TextReader read = addressSource();
    if (read == nullptr) {
        return 1;
    }
    for (const AddressLine& entry : kAddressLines) {
        if (const PlatformText address = read(entry.jsonTemplate)) {
            uartReply("%s %s\r\n", entry.label, address.get());
        }
    }
    if (const auto port = readInt(intLeaf<"network.telnet.telnetPort">)) {
        uartReply("%s %d\r\n", "IP Port", *port);
    }
    return 1;
}

int staticAddressCommand(const char* line, const char* /*name*/, const char* args, int fromEvent,
                         const char* /*jsonTemplate*/)
{
    StaticAddresses addresses;
    if (!parseAddresses(args, addresses)) {
        return refuse(line);
    }
    Document document;
    const bool whole =
        fill(document, kAddresses, addresses.fields[0].view(), addresses.fields[1].view(), addresses.fields[2].view());
    if (whole && alreadyStored(addresses)) {
        publishChange(announce::network, document.c_str(), 1);
    } else {
        // Kept: the line is echoed also when it could not be stored.
        [[maybe_unused]] const bool stored = storeDocument(document, whole);
    }
    if (fromEvent == 0) {
        uartReply("%s\r\n", line);
    }
    // Kept: the address mode stays as it is; installers set the addresses first and switch DHCP off afterwards.
    return 1;
}

int dhcpCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    const std::string_view word(args);
    if (word == "on") {
        return setAddressMode(call, "DHCP", "on");
    }
    if (word == "off") {
        return setAddressMode(call, "STATIC", "off");
    }
    if (word != "sta") {
        return refuse(line);
    }
    if (const PlatformText mode = readText(jsonTemplate)) {
        report::dhcp(name, ReportValue::text(mode.get()));
    }
    return 1;
}

int telnetPortCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    if (args == std::string_view("sta")) {
        return showNumber({line, name, args, fromEvent, jsonTemplate});
    }
    const auto port = decimalNumber(args);
    if (!port || *port < 1 || *port > kHighestPort) {
        return refuse(line);
    }
    const bool unchanged = readInt(jsonTemplate).value_or(0) == *port;
    Document document;
    const bool whole = fill(document, jsonTemplate, *port);
    if (!storeDocument(document, whole)) {
        return 1;
    }
    restartTelnet(*port);
    publishChange(announce::network, document.c_str(),
                  publishCount(PublishRule::unchangedEventOnly, unchanged, fromEvent));
    if (fromEvent == 0) {
        uartReply("%s %d\r\n", name, *port);
    }
    return 1;
}

int telnetTimeoutCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    if (::strcasecmp(args, "sta") == 0) {
        if (const auto seconds = readInt(jsonTemplate)) {
            report::timeout(name, ReportValue::integer(*seconds));
            return 1;
        }
        // Kept: a time-out that cannot be read is refused, not passed over; installers see by it that none is set.
        return refuse(line);
    }
    if (args == std::string_view("never")) {
        if (setTimeout(call, 0) && call.wantsReply()) {
            uartReply("%s %s\r\n", name, "never");
        }
        return 1;
    }
    const auto seconds = decimalNumber(args);
    if (!seconds || *seconds > kLongestTimeout) {
        return refuse(line);
    }
    if (setTimeout(call, *seconds) && call.wantsReply()) {
        // Kept: who types 0 reads 0, "never" answers only the word; scripts compare the answer with what they sent.
        uartReply("%s %d\r\n", name, *seconds);
    }
    return 1;
}

int telnetLoginCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    const CommandCall call{line, name, args, fromEvent, jsonTemplate};
    const std::string_view word(args);
    if (word == "on") {
        return setLogin(call, true);
    }
    if (word == "off") {
        return setLogin(call, false);
    }
    if (word != "sta") {
        return refuse(line);
    }
    if (const auto on = readBool(jsonTemplate)) {
        report::onOff(name, ReportValue::boolean(*on));
    }
    return 1;
}

int readHostNameCommand(const char* /*line*/, const char* name, const char* /*args*/, int /*fromEvent*/,
                        const char* jsonTemplate)
{
    const PlatformText host = readText(jsonTemplate);
    return uartReply("%s %s\r\n", name, host != nullptr ? host.get() : "");
}

namespace report {

void dhcp(const char* name, const ReportValue& value)
{
    if (::strcasecmp(value.text(), "STATIC") == 0) {
        uartReply("%s %s\r\n", name, "off");
    } else if (::strcasecmp(value.text(), "DHCP") == 0) {
        uartReply("%s %s\r\n", name, "on");
    }
}

void login(const char* name, const ReportValue& value)
{
    onOff(name, value);
    endTelnetSessions();  // Kept: whatever the value, as the web page relies on a changed mode to take effect at once
}

void portNumber(const char* name, const ReportValue& value)
{
    restartTelnet(value.number());
    number(name, value);
}

void ipAddress(const char* name, const ReportValue& value)
{
    uartReply("%s %s", name, value.text());
}

void ipNetmask(const char* /*name*/, const ReportValue& value)
{
    uartReply(" %s", value.text());
}

void ipGateway(const char* /*name*/, const ReportValue& value)
{
    uartReply(" %s\r\n", value.text());
}

}  // namespace report

namespace {

Usage ipConfigurationUsage(const CommandEntry& /*row*/)
{
    UsageForm form = usage::bare("Answers the addresses in force.", {{""}, {"", "that cannot be told"}});
    form.partial = true;
    const char* const names[] = {"address", "netmask", "gateway"};
    for (std::size_t i = 0; i < std::size(kAddressLines); ++i) {
        form.replies[0].text += std::string(kAddressLines[i].label) + ' ' + usage::place(names[i]) + "\r\n";
        form.fields.push_back(usage::text(names[i]));
    }
    form.replies[0].text += "IP Port {port}\r\n";
    form.fields.push_back(usage::integer("port", 0, 0));
    return {.forms = {form}};
}

Usage staticAddressUsage(const CommandEntry& /*row*/)
{
    return {.forms = {{.argument = "{address} {netmask} {gateway}",
                       .effect = "Sets the addresses; the address mode stays as it is.",
                       .fields = {usage::address("address"), usage::address("netmask"), usage::address("gateway")},
                       .replies = {{"{line}\r\n"}},
                       .stores = {{.value = usage::quoted("{address}"), .jsonTemplate = kAddress},
                                  {.value = usage::quoted("{netmask}"), .jsonTemplate = kNetmask},
                                  {.value = usage::quoted("{gateway}"), .jsonTemplate = kGateway}},
                       .unchangedTopic = unchangedTopic(announce::network, PublishRule::whenUnchangedOnce),
                       .answersUnstored = true}}};
}

UsageForm wordForm(const CommandEntry& row, const char* word, const char* effect, std::string value, PublishRule rule)
{
    return {.argument = word,
            .effect = effect,
            .replies = {{usage::answer(row, word)}},
            .stores = {{std::move(value)}},
            .unchangedTopic = unchangedTopic(announce::network, rule)};
}

Usage dhcpUsage(const CommandEntry& row)
{
    UsageForm status = usage::status(row, usage::oneOf("state", {"on", "off"}));
    status.replies.push_back({"", "the stored mode is another"});
    return {
        .forms = {
            wordForm(row, "on", "Takes addresses by DHCP.", usage::quoted("DHCP"), PublishRule::whenUnchanged),
            wordForm(row, "off", "Takes the static addresses.", usage::quoted("STATIC"), PublishRule::whenUnchanged),
            status}};
}

Usage telnetPortUsage(const CommandEntry& row)
{
    return {.forms = {{.argument = "{port}",
                       .effect = "Sets the port and restarts telnet there.",
                       .fields = {usage::integer("port", 1, kHighestPort)},
                       .replies = {{usage::answer(row, "{port}")}},
                       .stores = {{"{port}"}},
                       .unchangedTopic = unchangedTopic(announce::network, PublishRule::unchangedEventOnly),
                       .calls = {{service::network, "TelnetRestart", "{port}"}}},
                      usage::status(row, usage::integer("port", 0, 0))}};
}

Usage telnetTimeoutUsage(const CommandEntry& row)
{
    UsageForm status = usage::status(row, usage::integer("seconds", 0, 0));
    status.effect = "Answers the setting; the word is taken in any case of letters.";
    status.replies = {
        status.replies.front(), {usage::answer(row, "never"), "it is 0"}, {usage::kRefusal, "it is not in the store"}};
    return {.forms = {{.argument = "{seconds}",
                       .effect = "Sets the time without traffic after which a session ends.",
                       .fields = {usage::integer("seconds", 0, kLongestTimeout)},
                       .replies = {{usage::answer(row, "{seconds}")}},
                       .stores = {{"{seconds}"}},
                       .unchangedTopic = unchangedTopic(announce::network, PublishRule::unchangedEventOnly)},
                      wordForm(row, "never", "Sets 0: sessions do not end.", "0", PublishRule::unchangedEventOnly),
                      status}};
}

Usage telnetLoginUsage(const CommandEntry& row)
{
    constexpr char kEffect[] = "Switches the login, and ends all sessions.";
    Usage usage{.forms = {wordForm(row, "on", kEffect, "true", PublishRule::unchangedEventOnly),
                          wordForm(row, "off", kEffect, "false", PublishRule::unchangedEventOnly)}};
    for (UsageForm& form : usage.forms) {
        form.runs = {{kEndSessions}};
    }
    usage.forms.push_back(usage::status(row, usage::oneOf("state", {"on", "off"})));
    return usage;
}

Usage readHostNameUsage(const CommandEntry& row)
{
    return {.forms = {{.argument = "{ignored}",
                       .effect = "Answers the host name.",
                       .fields = {usage::text("ignored"), usage::text("text")},
                       .replies = {{usage::answer(row, "{text}")}}}}};
}

}  // namespace

void describeNetwork(UsageList& list)
{
    list.push_back({ipConfigurationCommand, ipConfigurationUsage});
    list.push_back({staticAddressCommand, staticAddressUsage});
    list.push_back({dhcpCommand, dhcpUsage});
    list.push_back({telnetPortCommand, telnetPortUsage});
    list.push_back({telnetTimeoutCommand, telnetTimeoutUsage});
    list.push_back({telnetLoginCommand, telnetLoginUsage});
    list.push_back({readHostNameCommand, readHostNameUsage});
}
