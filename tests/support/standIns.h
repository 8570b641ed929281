// Programs that stand in for those of the device, in a temporary directory: a shell and a `killall` that only note
// what they were asked to run.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// A directory of its own, removed with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

class StandIns {
public:
    explicit StandIns(std::filesystem::path directory);

    /// Goes before the other places in PATH.
    [[nodiscard]] std::string programDirectory() const { return (directory_ / "bin").string(); }
    /// For PLATFORM_SHELL.
    [[nodiscard]] std::string shell() const { return (directory_ / "bin" / "noteCommand").string(); }
    /// What every command ends with from now on.
    void setExitStatus(int status) const;
    /// The commands run since the last call.
    std::vector<std::string> takeCommands();
    /// An executable shell script in the program directory.
    void addProgram(const std::string& name, const std::string& script) const;

private:
    std::filesystem::path directory_;
    std::size_t taken_ = 0;
};
