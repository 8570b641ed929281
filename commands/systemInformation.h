// What the device is and how it is set up, and the lock of its front panel.
#pragma once

#include "commands/settingChange.h"

int versionCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int systemCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int typeCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);

int runLock(bool lock, const CommandCall& call);

/// The two rows of the lock; `lock` is the state that the row's name asks for.
template <bool lock>
int lockCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate)
{
    return runLock(lock, {line, name, args, fromEvent, jsonTemplate});
}
