// A program started by a test. It does not outlive its object.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "support/outputFile.h"

class ChildProcess {
public:
    struct Start {
        std::string program;                               // path
        std::vector<std::string> words{};                  // argv, argv[0] included; empty: the program alone
        std::map<std::string, std::string> environment{};  // on top of this process's own
        int output = -1;                                   // standard output and error; -1: this process's
    };

    /// Throws std::system_error.
    explicit ChildProcess(const Start& start);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    bool running();
    void signal(int number) const;
    /// The exit status, or 128 + n when signal n ended it. Throws when it does not end within 20 s.
    int wait();
    /// CPU time used so far.
    [[nodiscard]] std::chrono::nanoseconds cpuTime() const;

private:
    void collect(int status);

    pid_t pid_ = -1;
    std::optional<int> exit_;
};
