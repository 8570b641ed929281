// Names of at most 15 bytes, which may be empty: one text leaf, answered in square brackets.
#pragma once

#include "commands/settingChange.h"

struct BoundedTextRules {
    const Announcement& announcement;
};

inline constexpr BoundedTextRules hostName{.announcement = announce::network};
inline constexpr BoundedTextRules systemDebugMode{.announcement = announce::system};

int runBoundedText(const BoundedTextRules& rules, const CommandCall& call);

template <const BoundedTextRules& rules>
int boundedTextCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    return runBoundedText(rules, {line, name, args, fromEvent, jsonTemplate});
}
