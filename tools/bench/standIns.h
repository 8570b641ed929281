// Programs that would change the machine, replaced for whatever the daemons start. Each is the bench's own executable
// under another name: it says what would have been run, and of all of them only the factory tool does something, namely
// write an item of this bench's factory data.
#pragma once

#include <optional>
#include <string>

#include "bench/workspace.h"
#include "platform/support/ownership.h"

/// Where the stand-ins of one bench are, and what they have said.
class StandIns {
public:
    /// Throws Refused.
    explicit StandIns(const Workspace& workspace);

    /// For PLATFORM_SHELL.
    [[nodiscard]] std::string shell() const;
    /// For RECEIVER_BENCH_COMMANDS: where they say what they were asked to run.
    [[nodiscard]] std::string channel() const { return channelPath_; }

    /// Readable when one has said something.
    [[nodiscard]] int descriptor() const { return channel_.get(); }
    /// Passes on what they have said by now.
    void noteCommands();

private:
    std::string directory_;
    std::string channelPath_;
    UniqueFd channel_;
    std::string partial_;
};

/// When this process was started under the name of a stand-in: does its work and returns its exit status.
std::optional<int> runAsStandIn(int count, char** arguments);
