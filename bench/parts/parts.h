// The parts of a measurement, a subcommand of `consoleParts` each: they get the arguments behind their name. Those that
// measure print their samples; the others serve until they are killed.
#pragma once

// At a terminal or socket whose descriptor is inherited.
void roundTrips(int count, char* arguments[]);     // FD COUNT LINE...: the lines in turn, until each one's reply ends
void pipelined(int count, char* arguments[]);      // FD COUNT LINE: as many as fit at a time; one sample, the whole
void firstReply(int count, char* arguments[]);     // FD LINE REPLY PROGRAM...: from its start to the reply
void firstAnswer(int count, char* arguments[]);    // SOCKET TEXT REPLY PROGRAM...: the same at a socket that it makes
void passedThrough(int count, char* arguments[]);  // FD TO_FD COUNT SIZE PIECE: bursts until they arrived at TO_FD

// At a bus.
void calls(int count, char* arguments[]);        // COUNT SERVICE PATH INTERFACE METHOD TEXT
void bursts(int count, char* arguments[]);       // FD COUNT SIZE PIECE: bursts until their event came, less 30 ms
void events(int count, char* arguments[]);       // COUNT SETTINGS STATUS: what a bare listener does with an event
void echoService(int count, char* arguments[]);  // NAME
void burstLoop(int count, char* arguments[]);    // DEVICE: publishes what a 30 ms gap ends

// At a store.
void storeReads(int count, char* arguments[]);    // FILE COUNT
void storeUpdates(int count, char* arguments[]);  // FILE COUNT
void growLog(int count, char* arguments[]);       // FILE: until a checkpoint lets it be written over

// Bare.
void lineLoop(int count, char* arguments[]);  // DEVICE REPLY: reads lines, writes replies
void logLines(int count, char* arguments[]);  // FILE COMMANDS COUNT: the file's lines to /dev/null; a sample a command
