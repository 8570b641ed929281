// docs/commands.json, built into the program.
#pragma once

#include <string_view>

std::string_view commandsText();
