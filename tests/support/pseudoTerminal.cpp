#include "support/pseudoTerminal.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "support/waiting.h"
#include "transcript/text.h"

namespace {

[[noreturn]] void failSystem(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

bool readable(int fd)
{
    pollfd descriptor{fd, POLLIN, 0};
    return ::poll(&descriptor, 1, 0) == 1 && (descriptor.revents & POLLIN) != 0;
}

}  // namespace

PseudoTerminal::PseudoTerminal() : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    char name[64];
    if (!master_ || grantpt(master_.get()) != 0 || unlockpt(master_.get()) != 0 ||
        ptsname_r(master_.get(), name, sizeof name) != 0) {
        failSystem("posix_openpt");
    }
    device_ = name;
    slave_.reset(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!slave_) {
        failSystem(name);
    }
}

void PseudoTerminal::type(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(master_.get(), bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
            continue;
        }
        pollfd descriptor{master_.get(), POLLOUT | POLLIN, 0};
        if (::poll(&descriptor, 1, 20'000) == 0) {
            throw std::runtime_error("the daemon does not read its line");
        }
        readAvailable();
    }
}

bool PseudoTerminal::allRead() const
{
    return !readable(slave_.get());
}

void PseudoTerminal::waitUntilAllRead() const
{
    waitFor("typed bytes being read", [&] { return allRead(); });
}

void PseudoTerminal::readAvailable()
{
    char chunk[4096];
    while (readable(master_.get())) {
        const ssize_t count = ::read(master_.get(), chunk, sizeof chunk);
        if (count <= 0) {
            return;
        }
        output_.append(chunk, static_cast<std::size_t>(count));
    }
}

std::string PseudoTerminal::takeOutput()
{
    readAvailable();
    return std::exchange(output_, {});
}

std::string PseudoTerminal::takeOutputWith(std::string_view text)
{
    const bool came = becomesTrue([&] {
        readAvailable();
        return output_.find(text) != std::string::npos;
    });
    if (!came) {
        throw std::runtime_error("no \"" + escaped(text) + "\" came, only \"" + escaped(output_) + '"');
    }
    return std::exchange(output_, {});
}
