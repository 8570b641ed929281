// Standard error, which gets four lines a command, goes nowhere for an object's lifetime.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include "platform/support/ownership.h"

class QuietError {
public:
    QuietError() : kept_(::dup(STDERR_FILENO))
    {
        const UniqueFd nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        ::dup2(nowhere.get(), STDERR_FILENO);
    }
    ~QuietError() { ::dup2(kept_.get(), STDERR_FILENO); }
    QuietError(const QuietError&) = delete;
    QuietError& operator=(const QuietError&) = delete;

private:
    UniqueFd kept_;
};
