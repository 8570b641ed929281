#include "bench/pseudoTerminal.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "support/failure.h"

namespace {

bool readable(int fd)
{
    // Polling a terminal first has the kernel pass on what is still under way to it, so the answer holds for all that
    // was written before.
    pollfd state{.fd = fd, .events = POLLIN, .revents = 0};
    return poll(&state, 1, 0) == 1 && (state.revents & POLLIN) != 0;
}

// No echo and no line editing already before the daemon opens the port.
void makeRaw(int fd)
{
    termios settings{};
    tcgetattr(fd, &settings);
    cfmakeraw(&settings);
    tcsetattr(fd, TCSANOW, &settings);
}

}  // namespace

PseudoTerminal::PseudoTerminal()
{
    near_.reset(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    char name[64];
    if (!near_ || grantpt(near_.get()) != 0 || unlockpt(near_.get()) != 0 ||
        ptsname_r(near_.get(), name, sizeof name) != 0) {
        throw Refused(std::string("a pseudo-terminal cannot be made: ") + std::strerror(errno));
    }
    device_ = name;
    far_.reset(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!far_) {
        throw Refused(device_ + " cannot be opened: " + std::strerror(errno));
    }
    makeRaw(far_.get());
}

std::string PseudoTerminal::read() const
{
    std::string bytes;
    char chunk[4096];
    while (readable(near_.get())) {
        const auto count = ::read(near_.get(), chunk, sizeof chunk);
        if (count <= 0) {
            break;
        }
        bytes.append(chunk, static_cast<std::size_t>(count));
    }
    return bytes;
}

std::size_t PseudoTerminal::write(std::string_view bytes) const
{
    const auto count = ::write(near_.get(), bytes.data(), bytes.size());
    return count < 0 ? 0 : static_cast<std::size_t>(count);
}

bool PseudoTerminal::consumed() const
{
    return !readable(far_.get());
}
