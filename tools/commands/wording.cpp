#include "tools/commands/wording.h"

#include <algorithm>
#include <regex>
#include <set>

namespace {

std::string listed(const std::vector<std::string>& values)
{
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == values.size() ? " or " : ", ") + values[i];
    }
    return text;
}

std::string kindWording(const UsageField& field)
{
    if (!field.values.empty()) {
        return listed(field.values);
    }
    const bool bounded = field.highest > field.lowest;
    const std::string range = std::to_string(field.lowest) + " to " + std::to_string(field.highest);
    switch (field.kind) {
    case UsageField::Kind::integer: return bounded ? "integer, " + range : "integer";
    case UsageField::Kind::address: return "IPv4 address";
    case UsageField::Kind::text: break;
    }
    if (bounded) {
        return "text, " + range + " bytes" + (field.cut ? "; more are cut" : "");
    }
    return field.lowest > 0 ? "text, not empty" : "text";
}

void addSentence(std::string& text, const std::string& sentence)
{
    text += (text.empty() ? "" : " ") + sentence;
}

std::string condition(const std::string& when)
{
    return when.empty() ? "" : ", when " + when;
}

}  // namespace

std::string fieldWording(const UsageField& field)
{
    std::string text = kindWording(field);
    if (field.lenient) {
        text += "; the number that the text begins with counts, 0 when there is none";
    }
    if (field.silent) {
        text += "; another one is answered by nothing";
    }
    return text + (field.remark.empty() ? "" : "; " + field.remark);
}

std::string formWording(const CommandDescription& command, const UsageForm& form)
{
    std::string text = form.effect;
    if (form.needsScaler) {
        addSentence(text, std::string("Refused while ") + usage::kScalerOff + ".");
    }
    if (form.partial) {
        addSentence(text, "What cannot be read is left out.");
    }
    for (const UsageStore& store : form.stores) {
        if (const auto leaf = storedLeaf(command, store)) {
            const char* place = store.inStatusStore ? " in the status store" : "";
            addSentence(text, "Stores " + store.value + " as " + leaf->path + place + condition(store.when) + ".");
        }
    }
    if (form.answersUnstored) {
        addSentence(text, "Answered also when that fails.");
    }
    for (const UsageCall& call : form.calls) {
        const std::string argument = call.argument.empty() ? "" : " with " + call.argument;
        addSentence(text, "Calls " + call.method + " of " + call.service + argument + condition(call.when) + ".");
    }
    for (const UsageRun& run : form.runs) {
        addSentence(text, "Runs \"" + run.command + "\"" + condition(run.when) + ".");
    }
    for (const UsageEvent& event : form.events) {
        std::string payload = event.payload;
        if (payload.ends_with('\r')) {
            payload.replace(payload.size() - 1, 1, "\\r");
        }
        addSentence(text, "Publishes " + event.topic + " with " + payload + ".");
    }
    return text;
}

std::vector<std::string> commandWording(const CommandDescription& command)
{
    std::vector<std::string> sentences;
    std::set<std::string> changes;
    std::set<std::string> republished;
    std::vector<std::string> quiet;
    for (const UsageForm& form : command.usage.forms) {
        for (const UsageStore& store : form.stores) {
            if (const auto leaf = storedLeaf(command, store)) {
                changes.insert(changeTopic(leaf->path, store.inStatusStore));
            }
        }
        if (form.unchangedTopic != nullptr) {
            republished.insert(form.unchangedTopic);
        } else if (!form.stores.empty() && !form.stores[0].inStatusStore) {
            quiet.push_back(typedForm(command, form));
        }
    }
    sentences.reserve(changes.size() + republished.size());
    for (const std::string& topic : changes) {
        sentences.push_back("A change is announced as " + topic + ".");
    }
    for (const std::string& topic : republished) {
        sentences.push_back("A value that was stored already is published as " + topic +
                            (quiet.empty() ? "." : ", save by " + listed(quiet) + "."));
    }
    if (!command.usage.refusesOthers) {
        sentences.emplace_back("Whatever else follows the name is answered by nothing.");
    }
    if (command.usage.adjacent) {
        sentences.emplace_back("The argument follows the name without a blank.");
    }
    if (command.usage.oneBlank) {
        sentences.emplace_back("Exactly one blank separates name and argument.");
    }
    sentences.insert(sentences.end(), command.usage.remarks.begin(), command.usage.remarks.end());
    if (const std::string range = wrongHelpRange(command); !range.empty()) {
        sentences.push_back("The help text says " + range + "; accepted is what stands here.");
    }
    return sentences;
}

std::string changeTopic(std::string_view path, bool inStatusStore)
{
    return std::string(path.substr(0, path.find('.'))) + (inStatusStore ? "StatusConfigChanged" : "UserConfigChanged");
}

std::optional<SettingLeaf> storedLeaf(const CommandDescription& command, const UsageStore& store)
{
    return settingLeaf(store.jsonTemplate != nullptr ? store.jsonTemplate : command.row().jsonTemplate);
}

std::string wrongHelpRange(const CommandDescription& command)
{
    static const std::regex range(R"((-?\d+) ?~ ?(-?\d+))");
    const std::string help = command.row().help;
    std::string wrong;
    for (const UsageForm& form : command.usage.forms) {
        for (const UsageField& field : form.fields) {
            if (field.kind != UsageField::Kind::integer || field.highest <= field.lowest ||
                form.argument.find('{' + field.name + '}') == std::string::npos) {
                continue;
            }
            for (std::sregex_iterator at(help.begin(), help.end(), range); at != std::sregex_iterator(); ++at) {
                const auto [lowest, highest] = std::minmax({std::stoi((*at)[1]), std::stoi((*at)[2])});
                if (lowest == field.lowest && highest == field.highest) {
                    return {};
                }
                wrong = at->str();
            }
        }
    }
    return wrong;
}

std::string typedForm(const CommandDescription& command, const UsageForm& form)
{
    const bool blank = !form.argument.empty() && !command.usage.adjacent;
    return command.name + (blank ? " " : "") + form.argument;
}
