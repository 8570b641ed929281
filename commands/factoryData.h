// Factory data: the device's identity, read by key and written by the factory tool. Such a row carries the key where
// others carry a template.
#pragma once

#include "platform/support/ownership.h"

/// The item's text, empty or not; null when there is none.
PlatformText readFactoryItem(const char* key);

int writeMacCommand(const char* line, const char* name, const char* args, int fromEvent, const char* key);
int writeSerialNumberCommand(const char* line, const char* name, const char* args, int fromEvent, const char* key);
int writeProductIdCommand(const char* line, const char* name, const char* args, int fromEvent, const char* key);
/// The address in dashed form.
int readMacCommand(const char* line, const char* name, const char* args, int fromEvent, const char* key);
/// The item as it stands.
int readFactoryTextCommand(const char* line, const char* name, const char* args, int fromEvent, const char* key);
