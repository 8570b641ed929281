// How a tool ends when it could not do what it was asked: one line on standard error, and an exit status.
#pragma once

#include <stdexcept>

enum ExitStatus { kDone = 0, kRefused = 1, kWrongUsage = 2 };

/// What was asked for is absent, or the platform refused it.
struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The words are not those of any use.
struct WrongUsage : std::runtime_error {
    using std::runtime_error::runtime_error;
};
