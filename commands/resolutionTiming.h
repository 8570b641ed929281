// Video formats chosen by their index in a fixed list; the store holds the format's text.
#pragma once

#include "console/commandEntry.h"

int outputResolutionCommand(const char* line, const char* name, const char* args, int fromEvent,
                            const char* jsonTemplate);
int preferredTimingCommand(const char* line, const char* name, const char* args, int fromEvent,
                           const char* jsonTemplate);
int preferredTimingListCommand(const char* line, const char* name, const char* args, int fromEvent,
                               const char* jsonTemplate);

namespace report {
// The index of a text in its list; nothing when it is not in there.
void resolutionIndex(const char* name, const ReportValue& value);
void timingIndex(const char* name, const ReportValue& value);
}  // namespace report
