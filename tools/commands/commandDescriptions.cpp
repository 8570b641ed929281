#include "tools/commands/commandDescriptions.h"

#include <algorithm>
#include <stdexcept>

#include "commands/usages.h"
#include "display/usages.h"

namespace {

UsageList allUsages()
{
    UsageList list;
    describeGroupRows(list);
    describeHelp(list);
    describeCommands(list);
    describeDisplayActions(list);
    describeTriggers(list);
    return list;
}

CommandDescription describe(const UsageList& usages, const CommandEntry& row)
{
    const auto known = std::find_if(usages.begin(), usages.end(),
                                    [&row](const HandlerUsage& usage) { return usage.handler == row.handler; });
    if (known == usages.end()) {
        throw std::logic_error(std::string("the handler of ") + row.name + " does not describe itself");
    }
    CommandDescription description{.name = row.name, .rows = {&row}, .usage = known->usage(row), .argumentWords = {}};
    for (const UsageForm& form : description.usage.forms) {
        if (!form.argument.empty() && form.argument.find('{') == std::string::npos) {
            description.argumentWords.push_back(form.argument);
        }
    }
    return description;
}

std::vector<CommandDescription> describeTable()
{
    const UsageList usages = allUsages();
    std::vector<CommandDescription> descriptions;
    for (const CommandEntry& row : kCommandTable) {
        const auto first = std::find_if(descriptions.begin(), descriptions.end(),
                                        [&row](const CommandDescription& one) { return one.name == row.name; });
        if (first != descriptions.end()) {
            first->rows.push_back(&row);
        } else {
            descriptions.push_back(describe(usages, row));
        }
    }
    return descriptions;
}

}  // namespace

std::optional<SettingLeaf> settingLeaf(std::string_view jsonTemplate)
{
    SettingLeaf leaf;
    while (jsonTemplate.starts_with("{\"")) {
        const std::size_t end = jsonTemplate.find("\":");
        leaf.path.append(leaf.path.empty() ? "" : ".").append(jsonTemplate.substr(2, end - 2));
        jsonTemplate.remove_prefix(end + 2);
    }
    if (leaf.path.empty()) {
        return std::nullopt;
    }
    leaf.type = jsonTemplate.starts_with("%d")   ? "integer"
                : jsonTemplate.starts_with("%s") ? "boolean"
                : jsonTemplate.starts_with('[')  ? "array"
                                                 : "string";
    return leaf;
}

std::span<const CommandDescription> commandDescriptions()
{
    static const std::vector<CommandDescription> descriptions = describeTable();
    return descriptions;
}
