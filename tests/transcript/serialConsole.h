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
    /// the gap could be seen only by a burst of its own, a single CR.
    bool typeAndSettle(const std::string& bytes);
    /// Ends a line and a burst that are not this console's own, a handshake's among them.
    void endLeftovers();

    [[nodiscard]] bool internalRole() const { return internalRole_; }
    PseudoTerminal& line() { return line_; }
    OutputFile& log() { return log_; }

private:
    bool gapSeen(std::size_t logStart) const;
    bool waitForGap(const std::string& bytes, std::size_t logStart);
    void typeReturnsUntilGap(std::size_t logStart);

    bool internalRole_;
    PseudoTerminal line_;
    OutputFile log_;
};

/// The topic and the payload of the burst that is a single CR.
inline constexpr char kBurstTopic[] = "recvHDBTSendTo9001";
inline constexpr char kBareReturnBurst[] = " 0D";

}  // namespace transcript
