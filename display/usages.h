// What the commands of this layer take and answer (see console/usage.h).
#pragma once

#include "console/usage.h"

void describeDisplayActions(UsageList& list);
void describeTriggers(UsageList& list);
