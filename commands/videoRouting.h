// Which source feeds the output, and which inputs are connected.
#pragma once

#include "console/commandEntry.h"

int routeCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int routeStatusCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int inputStatusCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
/// Serves both numbered inputs; the whole line tells which.
int singleInputStatusCommand(const char* line, const char* name, const char* args, int fromEvent,
                             const char* jsonTemplate);

namespace report {
/// The route to the source of that number, then the report of both inputs.
void route(const char* name, const ReportValue& value);
}  // namespace report
