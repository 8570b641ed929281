// How lines get to the external console: typed at a terminal, or fed from a script.
#pragma once

#include "bench/receiver.h"

/// Forwards what is typed until the input ends or the person leaves. Returns when the last line is done with.
void runTerminal(Receiver& receiver);

/// Feeds the lines of the input one by one, each after the replies to the one before. Returns after the last.
void runScript(Receiver& receiver);

/// Standard output takes the replies. Throws Refused when it is gone.
void writeReplies(std::string_view bytes);
