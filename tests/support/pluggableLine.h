// A serial device that comes and goes: a symbolic link at one place, to another pseudo-terminal each time.
#pragma once

#include <optional>
#include <string>

#include "support/pseudoTerminal.h"
#include "support/standIns.h"

class PluggableLine {
public:
    PluggableLine() : path_((directory_.path() / "line").string()) {}

    /// What a daemon is told to open; nothing is there until plug().
    [[nodiscard]] const std::string& path() const { return path_; }
    /// A new pseudo-terminal stands there from now on.
    PseudoTerminal& plug();
    /// The device goes away, first from its place: nobody must find another test's terminal of the same number there.
    void unplug();

private:
    TemporaryDirectory directory_;
    std::string path_;
    std::optional<PseudoTerminal> terminal_;
};
