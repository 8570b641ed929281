#include "commands/clientDevice.h"

#include <arpa/inet.h>
#include <string_view>

#include "commands/settingChange.h"
#include "commands/usages.h"

namespace {

constexpr std::size_t kLongestCredential = 40;  // bytes

}  // namespace

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

namespace {

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

void describeClientDevice(UsageList& list)
{
    list.push_back({clientAddressCommand, clientAddressUsage});
    list.push_back({clientCredentialCommand, clientCredentialUsage});
}
