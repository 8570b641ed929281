// Service work on the device: update, reboot, factory reset, debug modes, USB routing.
#pragma once

#include "commands/settingChange.h"

int updateCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int rebootCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int factoryResetCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int debugCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int usbSwitchCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
/// Hidden: tells on standard error which serial port this instance serves.
int sourceChannelCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);

/// A chip's debug mode, entered and left in turn.
struct DebugToggleRules {
    const char* entering;
    const char* leaving;
};

inline constexpr DebugToggleRules hubDebug{.entering = "Into Debug Mode...", .leaving = "Leave Debug Mode..."};
inline constexpr DebugToggleRules chip977Debug{.entering = "Into 977 Debug Mode...",
                                               .leaving = "Leave 977 Debug Mode..."};

int runDebugToggle(const DebugToggleRules& rules, const CommandCall& call);

template <const DebugToggleRules& rules>
int debugToggleCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    return runDebugToggle(rules, {line, name, args, fromEvent, jsonTemplate});
}
