// Change broadcast: echoes a changed setting to the console through the command table's reporters.
#pragma once

#include "console/commandEntry.h"

/// Called for every leaf of a changed document, with the record's mutex held. `fragment` is the leaf's template as the
/// change walker builds it: the keys down to the leaf and its placeholder, without the outer closing braces. Always 0.
int cipProcJson(const char* fragment, const ReportValue& value);
