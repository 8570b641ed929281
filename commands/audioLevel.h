// Levels of the analog output in decibels: the volume and the equaliser's bands. A signed number within a range, "+"
// and "-" for one step, or "sta".
#pragma once

#include "commands/settingChange.h"

struct LevelRules {
    int lowest;   // dB
    int highest;  // dB
    PublishRule rule;
    bool takesPlusSign;  // "+3" is a number
    bool answersStep;    // a step that was stored is answered
};

inline constexpr LevelRules volumeLevel{
    .lowest = -80, .highest = 0, .rule = PublishRule::whenUnchanged, .takesPlusSign = false, .answersStep = true};
// Kept: a step of a band is silent, save at the end of the range.
inline constexpr LevelRules equaliserLevel{
    .lowest = -12, .highest = 15, .rule = PublishRule::unchangedEventOnly, .takesPlusSign = true, .answersStep = false};

int runLevel(const LevelRules& rules, const CommandCall& call);

template <const LevelRules& rules>
int levelCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    return runLevel(rules, {line, name, args, fromEvent, jsonTemplate});
}
