#include "platform/local/storeLock.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

#include "platform/local/database.h"

namespace local {

StoreLock::StoreLock(const std::string& directory, Kind kind)
    : directory_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    if (!directory_) {
        return;
    }
    // Not left to a blocking flock(): a program that is stopped while it holds the lock must not stop all others.
    const auto deadline = std::chrono::steady_clock::now() + kWriterPatience;
    const int operation = (kind == Kind::shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    while (::flock(directory_.get(), operation) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            held_ = false;
            errno = EBUSY;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void StoreLock::sync() const
{
    ::fsync(directory_.get());
}

}  // namespace local
