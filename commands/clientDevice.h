// Address and credentials of the controlled network device; its port is a numeric setting.
#pragma once

#include "console/commandEntry.h"

int clientAddressCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
/// User name and password: stored as typed, never shown.
int clientCredentialCommand(const char* line, const char* name, const char* args, int fromEvent,
                            const char* jsonTemplate);
