// The part of a backend that all have: a console on a serial line that prints its messages to a log, and the proof that
// it has nothing left to do. What line and log are is the backend's to say.
#pragma once

#include <chrono>
#include <functional>

#include "transcript/backend.h"

namespace transcript {

class SerialConsole : public Backend {
public:
    explicit SerialConsole(bool internalRole) : internalRole_(internalRole) {}

protected:
    using Condition = std::function<bool()>;

    /// Returns once the loop thread has done everything that reached it before.
    virtual void passLoop() = 0;
    /// The same for the event listener and what its work sets off.
    virtual void passListener() = 0;

    virtual void send(const std::string& bytes) = 0;
    /// Returns once the console has read all that was sent.
    virtual void awaitAllRead() = 0;
    [[nodiscard]] virtual std::size_t logSize() const = 0;
    [[nodiscard]] virtual std::string logFrom(std::size_t start) const = 0;
    /// Waits for a condition, at most so long (0: as long as makes sense). Whether it holds.
    virtual bool becomesTrueWithin(std::chrono::milliseconds patience, const Condition& condition) = 0;

    /// Throws std::runtime_error when it never holds.
    void await(const char* what, const Condition& condition);

    /// Types bytes and waits until they have been dealt with, their quiet gap included where it matters. True when
    /// the gap could be seen only by a burst of its own, of CRs alone.
    bool typeAndSettle(const std::string& bytes);
    /// Ends the line and the burst that are under way.
    void endBurst();
    /// What was typed since the last quiet gap that has been seen.
    [[nodiscard]] const std::string& openBurst() const { return openBurst_; }

    [[nodiscard]] bool internalRole() const { return internalRole_; }

private:
    bool gapSeen(std::size_t logStart) const;
    void typeReturnsUntilGap();

    bool internalRole_;
    std::string openBurst_;
};

/// A burst that holds a whole handshake, or a failure of one: it passes its gap without a word.
bool isSilentBurst(const std::string& bytes);

/// The event of a burst of nothing but CRs.
bool isBurstOfReturns(const Event& event);

}  // namespace transcript
