// A program run by a test: its standard input and output are the test's, it ends with the test at the latest.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

class ChildProcess {
public:
    using Seconds = std::chrono::seconds;

    ChildProcess() = default;
    explicit ChildProcess(const std::vector<std::string>& words);
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    /// The next line it prints, without its end; nothing when it prints no more or the limit has passed (0: what is
    /// there now).
    std::optional<std::string> line(Seconds limit = Seconds(20));
    void closeInput();
    void signal(int number) const;
    /// Exit status, or 128 + the signal that ended it.
    int wait();

private:
    void swap(ChildProcess& other) noexcept;

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string pending_;
};
