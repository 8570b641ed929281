// Link monitoring: answers a link-status request once another service has put the link dumps into the status store.
#pragma once

#include "core/consoleParameter.h"
#include "platform/jsonToken.h"

/// Hands each leaf of a changed document to the change broadcast.
using ChangeWalk = void (*)(json_token* document, const char* prefix, bool top);

/// The reaction to "videoStatusConfigChanged". Listener thread, with the record's mutex held; payload may be null.
void linkMonitoringChanged(const ConsoleParameter& record, const char* payload, ChangeWalk walk);
