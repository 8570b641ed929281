// Transcripts run against a receiver: each scenario on fresh stores, with the one console that it is about.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/peerPlan.h"
#include "bench/receiver.h"
#include "transcript/backend.h"

struct ScriptRun {
    std::string file;  ///< "-" is standard input
    transcript::Compare compare = transcript::Compare::everything;
    std::string state{};  ///< a state that each scenario starts from, before what it is given; empty: nothing
    PeerPlan peers{};
    Receiver::Observer observer{};  ///< is told what happens, too
};

/// Prints what went otherwise, and a summary. Whether all went as written. Throws Refused for a file that cannot be
/// read or run, or Stopped.
bool runScriptFile(const ScriptRun& run);
