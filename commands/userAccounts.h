// TCP/IP user accounts: an array in the settings store, which the system daemon is told of.
#pragma once

int addUserCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int deleteUserCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
