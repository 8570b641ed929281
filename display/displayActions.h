// The display button and the CEC trigger: command handlers (see CommandHandler).
#pragma once

/// "DispBtn on|off|tog|mute|vol+|vol-|sta". Power is only written to the settings, where others act on it; mute and
/// volume are sent the way the control type names. 1, or 255 when the press could not be announced or the control type
/// is missing.
int displayButtonCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);

/// "TrigCEC1 on|off|vol+|vol-|mute": the microcontroller sends the action, and the change event announces it; nothing
/// is stored. Always 1.
int cecTriggerCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
