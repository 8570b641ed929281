#include "platformctl/output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/stat.h>

#include "support/failure.h"
#include "support/jsonText.h"

namespace {

/// A second description of a pipe or a terminal, so that O_NONBLOCK touches nobody who shares the first.
UniqueFd openAnew(int fd)
{
    struct stat status {};
    if (fstat(fd, &status) != 0 || !(S_ISFIFO(status.st_mode) || isatty(fd) != 0)) {
        return {};
    }
    const std::string name = "/proc/self/fd/" + std::to_string(fd);
    return UniqueFd(open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

}  // namespace

LineOutput::LineOutput(int stopFd)
    : stopFd_(stopFd), own_(stopFd >= 0 ? openAnew(STDOUT_FILENO) : UniqueFd()), fd_(own_ ? own_.get() : STDOUT_FILENO)
{
}

void LineOutput::print(std::string_view line) const
{
    const std::string ended = std::string(line) + '\n';
    std::string_view rest = ended;
    while (!rest.empty() && writable()) {
        // As much as a pipe that polls as writable takes without blocking (pipe(7)).
        const auto count = write(fd_, rest.data(), std::min<std::size_t>(rest.size(), PIPE_BUF));
        if (count >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR && errno != EAGAIN) {
            throw Refused(std::string("standard output cannot be written: ") + std::strerror(errno));
        }
    }
}

/// Waits until there is room, or an error for write(2) to tell. False: the program is to end instead.
bool LineOutput::writable() const
{
    while (true) {
        pollfd waiting[] = {{.fd = fd_, .events = POLLOUT, .revents = 0},
                            {.fd = stopFd_, .events = POLLIN, .revents = 0}};
        if (poll(waiting, 2, -1) > 0) {
            return waiting[0].revents != 0;
        }
    }
}

void printLine(std::string_view line)
{
    LineOutput(-1).print(line);
}

void printJson(const json_token* token)
{
    if (token == nullptr) {
        printLine("null");
        return;
    }
    const PlatformText text(json_token_to_string(token));
    if (!text) {
        throw Refused(std::strerror(ENOMEM));
    }
    printLine(printableJson(text.get()));
}
