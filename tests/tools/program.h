// Programs under test: run to their end, or started and talked to. Every wait is for a condition; one that does not
// come within kPatience fails the test with what the program had said by then.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "platform/support/ownership.h"
#include "support/waiting.h"

using Environment = std::map<std::string, std::string>;

/// A fresh directory, removed with all that is in it.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

class Program {
public:
    enum class Input {
        pipe,
        terminal,  ///< standard input and output are a terminal, which controls the program
    };

    Program(const std::vector<std::string>& command, const Environment& environment, Input input = Input::pipe);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    /// Kills it when it still runs.
    ~Program();

    void write(std::string_view bytes);
    void closeInput() { input_.reset(); }
    /// Hangs up the terminal it runs at.
    void closeTerminal();
    void signal(int number) const;

    /// Everything on standard output so far, waiting until it holds `text`.
    const std::string& awaitOutput(std::string_view text);
    /// The same for standard error.
    const std::string& awaitError(std::string_view text);
    /// The exit status (128 + N: ended by signal N), once it has ended and its output is read to the end.
    int awaitEnd();

    [[nodiscard]] const std::string& output() const { return output_; }
    [[nodiscard]] const std::string& error() const { return error_; }
    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] bool running();

private:
    bool pump(int milliseconds);
    template <class Condition>
    bool await(const char* what, const Condition& condition);

    pid_t pid_ = -1;
    std::optional<int> status_;
    UniqueFd input_;
    UniqueFd outputEnd_;
    UniqueFd errorEnd_;
    std::string output_;
    std::string error_;
};

struct Result {
    int status;
    std::string output;
    std::string error;
};

/// Runs a program to its end.
Result run(const std::vector<std::string>& command, const Environment& environment, std::string_view input = {});

/// Processes that have this text in their command line, other than this one.
std::vector<pid_t> processesNaming(const std::string& text);
/// Waits until there is none; false after a minute.
bool awaitNoProcessNaming(const std::string& text);
