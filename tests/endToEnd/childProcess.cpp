#include "endToEnd/childProcess.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "support/waiting.h"

namespace {

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes)
{
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string variable(*entry);
        if (!changes.contains(variable.substr(0, variable.find('=')))) {
            all.push_back(variable);
        }
    }
    for (const auto& [name, value] : changes) {
        all.push_back(name + '=' + value);
    }
    return all;
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

}  // namespace

ChildProcess::ChildProcess(const Start& start)
{
    std::vector<std::string> words = start.words.empty() ? std::vector{start.program} : start.words;
    std::vector<std::string> environment = environmentWith(start.environment);
    const std::vector<char*> argv = pointers(words);
    const std::vector<char*> envp = pointers(environment);
    // vfork: under a sanitizer the copying of a fork takes longer than the program. Nothing but system calls follows.
    pid_ = ::vfork();
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "vfork");
    }
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (start.output >= 0) {
            ::dup2(start.output, STDOUT_FILENO);
            ::dup2(start.output, STDERR_FILENO);
        }
        ::execve(start.program.c_str(), argv.data(), envp.data());
        ::_exit(127);
    }
}

ChildProcess::~ChildProcess()
{
    if (running()) {
        signal(SIGKILL);
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
    }
}

void ChildProcess::collect(int status)
{
    constexpr int kSignalBase = 128;
    exit_ = WIFSIGNALED(status) ? kSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

bool ChildProcess::running()
{
    int status = 0;
    if (!exit_ && ::waitpid(pid_, &status, WNOHANG) == pid_) {
        collect(status);
    }
    return !exit_;
}

void ChildProcess::signal(int number) const
{
    if (!exit_) {
        ::kill(pid_, number);
    }
}

int ChildProcess::wait()
{
    waitFor("the end of a program", [this] { return !running(); });
    return *exit_;
}

std::chrono::nanoseconds ChildProcess::cpuTime() const
{
    clockid_t clock{};
    timespec used{};
    if (::clock_getcpuclockid(pid_, &clock) != 0 || ::clock_gettime(clock, &used) != 0) {
        throw std::runtime_error("no CPU time of a program");
    }
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}
