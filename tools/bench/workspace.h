// The directory a bench lives in: the stores, the logs, and, while it runs, the bus socket, the ports' names and the
// programs that stand in for those that would change the machine.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/support/ownership.h"

class Workspace {
public:
    /// The directory named, or that of PLATFORM=local:DIR, or a fresh one that is removed at the end. Throws Refused
    /// when it cannot be made, or when another bench runs in it.
    explicit Workspace(const std::optional<std::string>& named);
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
    /// Removes what only makes sense while the bench runs; all of it when the directory is the bench's own.
    ~Workspace();

    [[nodiscard]] const std::filesystem::path& directory() const { return directory_; }
    [[nodiscard]] bool temporary() const { return temporary_; }
    [[nodiscard]] std::filesystem::path file(const char* name) const { return directory_ / name; }

    /// In the directory, unless its path is too long for a socket's address.
    [[nodiscard]] std::filesystem::path busSocket() const;
    [[nodiscard]] std::filesystem::path standInDirectory() const { return directory_ / "stand-ins"; }

    /// Makes a symbolic link, which lasts as long as the bench. Throws Refused when something else stands there.
    void link(const std::filesystem::path& path, const std::filesystem::path& target) const;

private:
    void lock();
    void removeLeftovers() const;

    std::filesystem::path directory_;
    std::filesystem::path socketDirectory_;  // empty: the directory itself
    bool temporary_ = false;
    UniqueFd lock_;
};
