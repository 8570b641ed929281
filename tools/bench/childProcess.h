// A program that lives and dies with the bench: it leads a process group of its own, so that Ctrl-C does not reach it,
// and the kernel kills it when the bench is gone, however that came about.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

#include "platform/support/ownership.h"

class ChildProcess {
public:
    struct Setup {
        std::vector<std::string> command;                ///< the program's path, then its arguments
        std::map<std::string, std::string> environment;  ///< on top of the bench's own
        std::filesystem::path log;                       ///< takes its standard output and error
        int inherited = -1;                              ///< a descriptor that it may keep, or -1
    };

    /// Starts it. Call on the main thread only: the kernel watches the thread that starts a child. Throws Refused.
    explicit ChildProcess(const Setup& setup);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess() { stop(); }

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] const std::string& name() const { return name_; }
    /// Readable once it has ended.
    [[nodiscard]] int endDescriptor() const { return end_.get(); }

    [[nodiscard]] bool ended();
    /// "externalComd ended with status 1; the end of DIR/externalComd.log: ..."
    [[nodiscard]] std::string obituary() const;
    /// Ends it with SIGTERM, with SIGKILL when that does not help, and whatever it has started.
    void stop();

private:
    bool waitFor(int milliseconds);

    std::string name_;
    std::filesystem::path log_;
    pid_t pid_ = -1;
    UniqueFd end_;
    int status_ = 0;
    bool reaped_ = false;
};
