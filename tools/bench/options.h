// What receiver-bench is asked to do.
#pragma once

#include <optional>
#include <string>

#include "bench/peerPlan.h"

struct Options {
    std::optional<std::string> directory;
    std::string device;  ///< empty where an option is not given
    std::string tcp;
    std::string state;
    std::string save;
    std::string script;
    std::string record;
    bool raw = false;
    bool trace = false;
    bool repliesOnly = false;
    PeerPlan peers;
};

/// Nothing when everything asked for has been printed. Throws WrongUsage.
std::optional<Options> parseOptions(int count, char** arguments);
