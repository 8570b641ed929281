// The command reference in its three forms.
#pragma once

#include <string>

/// For programs: docs/commands.json.
std::string commandsAsJson();
/// docs/commands.md
std::string commandsAsMarkdown();
/// receiver-commands(7)
std::string commandsAsManualPage();
