// The LPC methods that each instance offers. They run on the loop thread with the record's mutex held; each completes
// its request and sends no data back: results go to the serial port or the settings.
#pragma once

#include "core/consoleParameter.h"
#include "platform/lpc.h"

/// "lpcExampledNoUse" for the external role, "lpcExampledNoUse2" for the internal one, null for no role.
const char* serviceName(int sourceType);

/// Creates the role's service with the record as its context. Null without a role or when the platform refuses.
lpc_service* createService(ConsoleParameter& record);
