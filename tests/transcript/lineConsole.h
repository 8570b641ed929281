// A console on a pseudo-terminal whose output is collected in a file.
#pragma once

#include "support/outputFile.h"
#include "support/pseudoTerminal.h"
#include "support/waiting.h"
#include "transcript/serialConsole.h"

namespace transcript {

class LineConsole : public SerialConsole {
public:
    using SerialConsole::SerialConsole;

protected:
    PseudoTerminal& line() { return line_; }
    OutputFile& log() { return log_; }

    void send(const std::string& bytes) override { line_.type(bytes); }
    void awaitAllRead() override { line_.waitUntilAllRead(); }
    [[nodiscard]] std::size_t logSize() const override { return log_.size(); }
    [[nodiscard]] std::string logFrom(std::size_t start) const override { return log_.from(start); }
    bool becomesTrueWithin(std::chrono::milliseconds patience, const Condition& condition) override
    {
        return patience.count() == 0 ? becomesTrue(condition) : becomesTrue(condition, patience);
    }

private:
    PseudoTerminal line_;
    OutputFile log_;
};

}  // namespace transcript
