#include "childProcess.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

ChildProcess::ChildProcess(const std::vector<std::string>& words)
{
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) {
        std::abort();
    }
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t parent = ::getpid();
    pid_ = ::fork();
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(input[0], STDIN_FILENO);
        ::dup2(output[1], STDOUT_FILENO);
        if (::getppid() == parent) {
            ::execvp(arguments[0], arguments.data());
        }
        ::_exit(127);
    }
    ::close(input[0]);
    ::close(output[1]);
    input_ = input[1];
    output_ = output[0];
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
{
    swap(other);
}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept
{
    ChildProcess moved(std::move(other));
    swap(moved);
    return *this;
}

ChildProcess::~ChildProcess()
{
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        wait();
    }
    closeInput();
    if (output_ >= 0) {
        ::close(output_);
    }
}

void ChildProcess::swap(ChildProcess& other) noexcept
{
    std::swap(pid_, other.pid_);
    std::swap(input_, other.input_);
    std::swap(output_, other.output_);
    std::swap(pending_, other.pending_);
}

std::optional<std::string> ChildProcess::line(Seconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (true) {
        const std::size_t end = pending_.find('\n');
        if (end != std::string::npos) {
            std::string found = pending_.substr(0, end);
            pending_.erase(0, end + 1);
            return found;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd waiting{.fd = output_, .events = POLLIN, .revents = 0};
        if (::poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0))) <= 0) {
            return std::nullopt;
        }
        char chunk[4096];
        const ssize_t got = ::read(output_, chunk, sizeof chunk);
        if (got <= 0) {
            return std::nullopt;
        }
        pending_.append(chunk, static_cast<std::size_t>(got));
    }
}

void ChildProcess::closeInput()
{
    if (input_ >= 0) {
        ::close(input_);
        input_ = -1;
    }
}

void ChildProcess::signal(int number) const
{
    ::kill(pid_, number);
}

int ChildProcess::wait()
{
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
