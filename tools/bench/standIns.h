// Programs that would change the machine, replaced for whatever the daemons start. Each is the bench's own executable
// under another name: it says what would have been run, and of all of them only the factory tool does something, namely
// write an item of this bench's factory data.
#pragma once

#include <optional>
#include <string>
#include <vector>

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

    /// For RECEIVER_BENCH_STATUS: the file that says what they end with.
    [[nodiscard]] std::string statusFile() const { return statusPath_; }

    /// From now on every command ends with this status and does nothing, the factory tool included.
    void setExitStatus(int status) const;

    /// Readable when one has said something.
    [[nodiscard]] int descriptor() const { return channel_.get(); }
    /// The commands that they were asked to run since the last time.
    std::vector<std::string> takeCommands();

private:
    std::string directory_;
    std::string channelPath_;
    std::string statusPath_;
    UniqueFd channel_;
    std::string partial_;
};

/// When this process was started under the name of a stand-in: does its work and returns its exit status.
std::optional<int> runAsStandIn(int count, char** arguments);
