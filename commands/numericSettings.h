// Numeric settings: one integer leaf, given in decimal digits within a range, or "sta".
#pragma once

#include "commands/settingChange.h"

struct NumericRules {
    const Announcement& announcement;
    int lowest;
    int highest;
    bool needsScaler = false;  // a new value is refused while the scaler mode is off
};

// Kept: several ranges are wider than the help texts say.
inline constexpr NumericRules autoSwitchFirstTime{.announcement = announce::control, .lowest = 10, .highest = 600};
inline constexpr NumericRules autoSwitchOutTime{.announcement = announce::control, .lowest = 3, .highest = 600};
inline constexpr NumericRules autoPowerOffTime{.announcement = announce::control, .lowest = 5, .highest = 3'600};
inline constexpr NumericRules projectorTime{.announcement = announce::control, .lowest = 5, .highest = 300};
inline constexpr NumericRules relayPulseTime{.announcement = announce::control, .lowest = 1, .highest = 30};
inline constexpr NumericRules overscanSize{
    .announcement = announce::video, .lowest = 0, .highest = 50, .needsScaler = true};
inline constexpr NumericRules pictureControl{
    .announcement = announce::video, .lowest = 0, .highest = 60, .needsScaler = true};
// Kept: one more than the largest port is let pass, and the scaler has a say in it.
inline constexpr NumericRules clientPort{
    .announcement = announce::control, .lowest = 1, .highest = 65'536, .needsScaler = true};

int runNumeric(const NumericRules& rules, const CommandCall& call);

template <const NumericRules& rules>
int numericCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    return runNumeric(rules, {line, name, args, fromEvent, jsonTemplate});
}
