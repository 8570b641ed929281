// The reset of the picture controls, which are numeric settings themselves.
#pragma once

#include "console/commandEntry.h"

int pictureResetCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
