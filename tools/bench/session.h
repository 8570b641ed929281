// How bytes get to the console and its replies back to somebody: typed at a terminal, fed from a script, sent over a
// pipe or a TCP connection. Each returns when its input has ended and all is done with.
#pragma once

#include "bench/feed.h"
#include "bench/tcpServer.h"

/// Lines typed at a terminal that edits them itself, or none.
void runTerminal(Feed& feed);

/// Feeds the lines of standard input one by one, each after the replies to the one before.
void runLines(Feed& feed);

/// Standard input and output are the port, byte for byte. A terminal is one too, without echo and line editing, until
/// Ctrl-]. Says the greeting once that is so.
void runRaw(Feed& feed, const std::string& greeting);

/// One client after the other; ends by a signal alone.
void serveClients(Feed& feed, TcpServer& server);

/// Nobody here has the console; ends by a signal alone.
void serveDevice(Receiver& receiver);
