#include "commands/choiceSettings.h"

#include "commands/usages.h"
#include "platform/support/report.h"

namespace {

const ChoiceWord* findTyped(const ChoiceRules& rules, std::string_view typed)
{
    for (const ChoiceWord& word : rules.words) {
        if (typed == word.typed) {
            return &word;
        }
    }
    return nullptr;
}

int showTypedWord(const ChoiceRules& rules, const CommandCall& call)
{
    const PlatformText stored = readText(call.jsonTemplate);
    for (const ChoiceWord& word : rules.words) {
        if (stored != nullptr && stored.get() == std::string_view(word.stored)) {
            uartReply("%s %s\r\n", call.name, word.typed);
        }
    }
    return 1;
}

int setChoice(const ChoiceRules& rules, const CommandCall& call, const ChoiceWord& word)
{
    Announcement announcement = rules.announcement;
    if (word.publishLabel != nullptr) {
        announcement.publishLabel = word.publishLabel;
    }
    if (!changeText(call, announcement, rules.rule, word.stored) || !call.wantsReply()) {
        return 1;
    }
    if (rules.bracketReply) {
        return uartReply("%s[%s]\r\n", call.name, word.typed);
    }
    return uartReply("%s %s\r\n", call.name, word.typed);
}

}  // namespace

int runChoice(const ChoiceRules& rules, const CommandCall& call)
{
    const std::string_view args(call.args);
    if (rules.lengthLogName != nullptr) {
        printError("\033[1;31;36m[%s][%d] strlen(Parms)=%d \033[0m \r\n", rules.lengthLogName, __LINE__,
                   static_cast<int>(args.size()));
    }
    if (rules.hasStatus && args == "sta") {
        return rules.showsTypedWord ? showTypedWord(rules, call) : showText(call);
    }
    const ChoiceWord* word = findTyped(rules, args);
    if (word == nullptr || (rules.needsScaler && !scalerModeOn())) {
        return refuse(call.line);
    }
    return setChoice(rules, call, *word);
}

namespace {

UsageForm choiceForm(const ChoiceRules& rules, const CommandEntry& row, const ChoiceWord& word)
{
    const std::string bracketed = std::string(row.name) + '[' + word.typed + "]\r\n";
    return {.argument = word.typed,
            .effect = "Chooses this.",
            .replies = {{rules.bracketReply ? bracketed : usage::answer(row, word.typed)}},
            .stores = {{usage::quoted(word.stored)}},
            .unchangedTopic = unchangedTopic(rules.announcement, rules.rule),
            .needsScaler = rules.needsScaler};
}

template <const ChoiceRules& rules>
Usage choiceUsage(const CommandEntry& row)
{
    Usage usage;
    std::vector<std::string> words;
    for (const ChoiceWord& word : rules.words) {
        usage.forms.push_back(choiceForm(rules, row, word));
        words.emplace_back(word.typed);
    }
    if (rules.hasStatus) {
        UsageForm status = usage::status(row, rules.showsTypedWord ? usage::oneOf("word", words) : usage::text("word"));
        if (rules.showsTypedWord) {
            status.replies.push_back({"", "the stored text is none of these"});
        }
        usage.forms.push_back(status);
    }
    return usage;
}

template <const ChoiceRules&... rules>
void describeEach(UsageList& list)
{
    (list.push_back({choiceCommand<rules>, choiceUsage<rules>}), ...);
}

}  // namespace

void describeChoices(UsageList& list)
{
    describeEach<edidMode, usbHostLogic, usbHostRoute, usbFallback, relayType, relayAction, triggerStringType,
                 clientLoginMode, controlType, hdcpMode, outputAspect>(list);
}
