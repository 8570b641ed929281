#include "program.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "support/readAll.h"

namespace fs = std::filesystem;

namespace {

struct Ends {
    UniqueFd reading;
    UniqueFd writing;
};

Ends makePipe()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

/// A terminal as a person has it: with echo, line editing and Ctrl-C.
Ends makeTerminal()
{
    UniqueFd near(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char name[64];
    if (!near || grantpt(near.get()) != 0 || unlockpt(near.get()) != 0 ||
        ptsname_r(near.get(), name, sizeof name) != 0) {
        throw std::system_error(errno, std::generic_category(), "pseudo-terminal");
    }
    return {std::move(near), UniqueFd(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC))};
}

[[noreturn]] void become(const std::vector<std::string>& command, const Environment& environment, int input, int output,
                         int error, bool terminal)
{
    setsid();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::signal(SIGPIPE, SIG_DFL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(error, STDERR_FILENO);
    if (terminal) {
        ioctl(STDIN_FILENO, TIOCSCTTY, 0);
    }
    for (const auto& [key, value] : environment) {
        setenv(key.c_str(), value.c_str(), 1);
    }
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execv(arguments.front(), arguments.data());
    std::perror(arguments.front());
    _exit(127);
}

/// Appends what is there to read; false at the end.
bool readInto(std::string& text, int fd)
{
    char chunk[65'536];
    const auto count = read(fd, chunk, sizeof chunk);
    if (count > 0) {
        text.append(chunk, static_cast<std::size_t>(count));
    }
    return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

/// Nothing for a process that is just going.
std::string commandLine(const fs::path& process)
{
    const UniqueFd file(open((process / "cmdline").c_str(), O_RDONLY | O_CLOEXEC));
    try {
        return file ? readAll(file.get()) : "";
    } catch (const std::system_error&) {
        return "";
    }
}

}  // namespace

TemporaryDirectory::TemporaryDirectory()
    : path_((fs::canonical(fs::temp_directory_path()) / "tools-test-XXXXXX").string())
{
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), path_);
    }
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

Program::Program(const std::vector<std::string>& command, const Environment& environment, Input input)
{
    ::signal(SIGPIPE, SIG_IGN);  // a program that has ended is told by its status
    const bool terminal = input == Input::terminal;
    Ends error = makePipe();
    Ends in = terminal ? Ends{} : makePipe();
    Ends out = terminal ? makeTerminal() : makePipe();
    pid_ = fork();
    if (pid_ == 0) {
        become(command, environment, terminal ? out.writing.get() : in.reading.get(), out.writing.get(),
               error.writing.get(), terminal);
    }
    input_ = terminal ? UniqueFd(fcntl(out.reading.get(), F_DUPFD_CLOEXEC, 0)) : std::move(in.writing);
    outputEnd_ = std::move(out.reading);
    errorEnd_ = std::move(error.reading);
}

Program::~Program()
{
    if (running()) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void Program::write(std::string_view bytes)
{
    while (!bytes.empty() && input_) {
        const auto count = ::write(input_.get(), bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            break;
        }
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

void Program::closeTerminal()
{
    input_.reset();
    outputEnd_.reset();
}

void Program::signal(int number) const
{
    kill(pid_, number);
}

bool Program::running()
{
    if (!status_) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        }
    }
    return !status_;
}

/// Reads what comes within the time; false when nothing more can come.
bool Program::pump(int milliseconds)
{
    pollfd ends[] = {{outputEnd_.get(), POLLIN, 0}, {errorEnd_.get(), POLLIN, 0}};
    if (poll(ends, std::size(ends), milliseconds) <= 0) {
        return outputEnd_ || errorEnd_;
    }
    if (ends[0].revents != 0 && !readInto(output_, outputEnd_.get())) {
        outputEnd_.reset();
    }
    if (ends[1].revents != 0 && !readInto(error_, errorEnd_.get())) {
        errorEnd_.reset();
    }
    return outputEnd_ || errorEnd_;
}

template <class Condition>
bool Program::await(const char* what, const Condition& condition)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        const bool ended = !running();
        const bool more = pump(20);
        if (condition()) {
            break;
        }
        if ((ended && !more) || std::chrono::steady_clock::now() > end) {
            ADD_FAILURE() << what << " did not come; standard output: " << output_ << "\nstandard error: " << error_;
            return false;
        }
    }
    return true;
}

const std::string& Program::awaitOutput(std::string_view text)
{
    await(std::string(text).c_str(), [&] { return output_.find(text) != std::string::npos; });
    return output_;
}

const std::string& Program::awaitError(std::string_view text)
{
    await(std::string(text).c_str(), [&] { return error_.find(text) != std::string::npos; });
    return error_;
}

int Program::awaitEnd()
{
    // What a program left behind may keep its output open, so its end is what counts; all it wrote is there by then.
    if (!await("the end", [&] { return !running(); })) {
        return -1;
    }
    while (pump(0)) {
        pollfd ends[] = {{outputEnd_.get(), POLLIN, 0}, {errorEnd_.get(), POLLIN, 0}};
        if (poll(ends, std::size(ends), 0) <= 0) {
            break;
        }
    }
    return *status_;
}

Result run(const std::vector<std::string>& command, const Environment& environment, std::string_view input)
{
    Program program(command, environment);
    std::thread writer([&] {
        program.write(input);
        program.closeInput();
    });
    const int status = program.awaitEnd();
    writer.join();
    return {status, program.output(), program.error()};
}

std::vector<pid_t> processesNaming(const std::string& text)
{
    std::vector<pid_t> found;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/proc", ignored)) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos || std::stoi(name) == getpid()) {
            continue;
        }
        if (commandLine(entry.path()).find(text) != std::string::npos) {
            found.push_back(std::stoi(name));
        }
    }
    return found;
}

bool awaitNoProcessNaming(const std::string& text)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!processesNaming(text).empty()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}
