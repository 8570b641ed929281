#include "faults/processGroup.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

ProcessGroup::ProcessGroup()
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void ProcessGroup::start(const std::string& program, const std::vector<std::string>& words,
                         const std::map<std::string, std::string>& environment, int output)
{
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        ::setpgid(0, group_);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (const auto& [name, value] : environment) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
        ::dup2(output, STDOUT_FILENO);
        ::dup2(output, STDERR_FILENO);
        std::vector<char*> arguments;
        for (const std::string& word : words) {
            arguments.push_back(const_cast<char*>(word.c_str()));  // execv(3) writes to none
        }
        arguments.push_back(nullptr);
        ::execv(program.c_str(), arguments.data());
        ::_exit(127);
    }
    // Here as well, so that the group is there for the next one whoever comes first.
    ::setpgid(child, group_);
    if (group_ == 0) {
        group_ = child;
    }
}

void ProcessGroup::kill()
{
    if (group_ != 0) {
        ::kill(-group_, SIGKILL);
    }
    // What they had started is this process's by now, too.
    while (group_ != 0 && (::waitpid(-group_, nullptr, 0) > 0 || errno == EINTR)) {
    }
    group_ = 0;
}
