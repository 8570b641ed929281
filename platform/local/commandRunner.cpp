#include "platform/commandRunner.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace local {

namespace {

// The child starts with nothing blocked and nothing ignored, whatever the daemon has made of its signals.
class SpawnAttributes {
public:
    SpawnAttributes()
    {
        sigset_t defaults;
        sigset_t none;
        sigemptyset(&none);
        sigemptyset(&defaults);
        for (const int signal : {SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGHUP, SIGCHLD}) {
            sigaddset(&defaults, signal);
        }
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

    [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

}  // namespace

}  // namespace local

int lsystem(const char* command)
{
    if (command == nullptr) {
        errno = EINVAL;
        return -1;
    }
    const char* chosen = std::getenv("PLATFORM_SHELL");
    const char* shell = chosen != nullptr && *chosen != '\0' ? chosen : "/bin/sh";
    // posix_spawn(3) takes writable strings but writes to none.
    char* const arguments[] = {const_cast<char*>(shell), const_cast<char*>("-c"), const_cast<char*>(command), nullptr};
    const local::SpawnAttributes attributes;
    pid_t child = 0;
    const int failed = posix_spawnp(&child, shell, nullptr, attributes.get(), arguments, environ);
    if (failed != 0) {
        errno = failed;
        return -1;
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
