// The daemon's main loop on a stack of its own: it runs until its select() finds nothing left to read, and goes on
// there with the next input. One thread, so no input waits for a context switch of the system.
#pragma once

#include <functional>

class LoopFiber {
public:
    /// `body` never returns; it gives way by pause().
    explicit LoopFiber(std::function<void()> body);
    LoopFiber(const LoopFiber&) = delete;
    LoopFiber& operator=(const LoopFiber&) = delete;
    ~LoopFiber() = delete;  // the loop never ends

    /// Runs the body until it pauses.
    void resume();
    /// Called by the body.
    void pause();

private:
    struct Parts;
    Parts* parts_;
};
