// The part of a backend that both have: a console on a pseudo-terminal whose output is collected in a file, and the
// proof that it has nothing left to do.
#pragma once

#include "support/outputFile.h"
#include "support/pseudoTerminal.h"
#include "transcript/backend.h"

namespace transcript {

class SerialConsole : public Backend {
public:
    explicit SerialConsole(bool internalRole) : internalRole_(internalRole) {}

protected:
    /// Returns once the loop thread has done everything that reached it before.
    virtual void passLoop() = 0;
    /// The same for the event listener and what its work sets off.
    virtual void passListener() = 0;

    /// Types bytes and waits until they have been dealt with, their quiet gap included where it matters. True when
    /// the gap could be seen only by a burst of its own, of CRs alone.
    bool typeAndSettle(const std::string& bytes);
    /// Ends the line and the burst that are under way.
    void endBurst();
    /// What was typed since the last quiet gap that has been seen.
    [[nodiscard]] const std::string& openBurst() const { return openBurst_; }

    [[nodiscard]] bool internalRole() const { return internalRole_; }
    PseudoTerminal& line() { return line_; }
    OutputFile& log() { return log_; }

private:
    bool gapSeen(std::size_t logStart) const;
    void typeReturnsUntilGap(std::size_t logStart);

    bool internalRole_;
    PseudoTerminal line_;
    OutputFile log_;
    std::string openBurst_;
};

/// A burst that holds a whole handshake, or a failure of one: it passes its gap without a word.
bool isSilentBurst(const std::string& bytes);

/// The event of a burst of nothing but CRs.
bool isBurstOfReturns(const Event& event);

}  // namespace transcript
