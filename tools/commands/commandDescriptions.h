// Every console command and what is known of it, in the order of the command table: a row that repeats a name, which
// only the change broadcast reaches, belongs to the first one. For the command reference and the bench's completion.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "console/usage.h"

struct CommandDescription {
    std::string name;                       // as typed; it may hold blanks ("SetLabel boot")
    std::vector<const CommandEntry*> rows;  // the first one is the one that runs
    Usage usage;
    std::vector<std::string> argumentWords;  // arguments that are typed as they stand; they may hold blanks

    [[nodiscard]] const CommandEntry& row() const { return *rows.front(); }
};

/// A leaf of a store.
struct SettingLeaf {
    std::string path;  // dotted
    std::string type;  // "boolean", "integer", "string" or "array"
};
/// The leaf that a template names; none for an empty one or a factory key.
std::optional<SettingLeaf> settingLeaf(std::string_view jsonTemplate);

/// Made at the first call. Throws std::logic_error when a row's handler describes itself nowhere.
std::span<const CommandDescription> commandDescriptions();
