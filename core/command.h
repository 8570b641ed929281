// The event listener: a second thread that reacts to what other daemons change.
#pragma once

#include "core/consoleParameter.h"

/// Thread body (pthread_create(3)); the argument is the record. Subscribes 13 topics in a fixed order and delivers
/// their events with the record's mutex held, until a subscription, a delivery or a poll fails. The main loop goes on
/// without it. Always null.
void* doListenEventLoop(void* argument);
