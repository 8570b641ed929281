// `help` and `techelp`: the lists of command names, and one command's help text.
#pragma once

int helpCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
