#include "bench/childProcess.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/failure.h"

namespace {

constexpr int kPoliteTimeMs = 2000;
constexpr std::size_t kLogLines = 10;

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> list;
    list.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        list.push_back(text.data());
    }
    list.push_back(nullptr);
    return list;
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes)
{
    std::vector<std::string> list;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!changes.contains(text.substr(0, text.find('=')))) {
            list.push_back(text);
        }
    }
    for (const auto& [key, value] : changes) {
        list.push_back(key + "=" + value);
    }
    return list;
}

struct ChildPlan {
    pid_t parent;
    char* const* command;
    char* const* environment;
    int input;
    int log;
    int inherited;
};

// Between fork and exec of a program with threads: async-signal-safe calls only (signal-safety(7)).
[[noreturn]] void becomeChild(const ChildPlan& plan)
{
    setsid();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != plan.parent) {
        _exit(127);  // the bench was gone before the kernel was asked to watch it
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    dup2(plan.input, STDIN_FILENO);
    dup2(plan.log, STDOUT_FILENO);
    dup2(plan.log, STDERR_FILENO);
    if (plan.inherited >= 0) {
        fcntl(plan.inherited, F_SETFD, 0);
    }
    execve(plan.command[0], plan.command, plan.environment);
    const char* reason = strerrordesc_np(errno);
    [[maybe_unused]] auto written = write(STDERR_FILENO, reason, strlen(reason));
    written = write(STDERR_FILENO, "\n", 1);
    _exit(127);
}

std::string lastLines(const std::filesystem::path& log)
{
    std::ifstream stream(log, std::ios::binary);
    std::deque<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
        if (lines.size() > kLogLines) {
            lines.pop_front();
        }
    }
    std::string text;
    for (const std::string& line : lines) {
        text += "\n  " + line;
    }
    return text;
}

}  // namespace

ChildProcess::ChildProcess(const Setup& setup)
    : name_(std::filesystem::path(setup.command.front()).filename()), log_(setup.log)
{
    std::vector<std::string> command = setup.command;
    std::vector<std::string> environment = environmentWith(setup.environment);
    const std::vector<char*> commandPointers = pointers(command);
    const std::vector<char*> environmentPointers = pointers(environment);
    const UniqueFd input(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const UniqueFd log(open(setup.log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644));
    if (!input || !log) {
        throw Refused("'" + setup.log.string() + "' cannot be written: " + std::strerror(errno));
    }
    const ChildPlan plan{getpid(),  commandPointers.data(), environmentPointers.data(), input.get(),
                         log.get(), setup.inherited};
    pid_ = fork();
    if (pid_ == 0) {
        becomeChild(plan);
    }
    if (pid_ < 0) {
        throw Refused(name_ + " cannot be started: " + std::strerror(errno));
    }
    end_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
}

bool ChildProcess::ended()
{
    return waitFor(0);
}

std::string ChildProcess::obituary() const
{
    std::string text = name_;
    if (WIFSIGNALED(status_)) {
        text += " was ended by signal " + std::to_string(WTERMSIG(status_));
    } else {
        text += " ended with status " + std::to_string(WEXITSTATUS(status_));
    }
    return text + "; the end of " + log_.string() + ":" + lastLines(log_);
}

void ChildProcess::stop()
{
    if (!reaped_ && pid_ > 0) {
        kill(pid_, SIGTERM);
        if (!waitFor(kPoliteTimeMs)) {
            kill(pid_, SIGKILL);
            reaped_ = waitpid(pid_, &status_, 0) == pid_;
        }
        kill(-pid_, SIGKILL);  // what it had started itself and not waited for
    }
}

bool ChildProcess::waitFor(int milliseconds)
{
    if (reaped_) {
        return true;
    }
    if (milliseconds > 0) {
        pollfd end{.fd = end_.get(), .events = POLLIN, .revents = 0};
        while (poll(&end, 1, milliseconds) < 0 && errno == EINTR) {
        }
    }
    reaped_ = waitpid(pid_, &status_, WNOHANG) == pid_;
    return reaped_;
}
