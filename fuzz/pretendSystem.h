// A serial line, a clock and a shell of this process, in place of the system's: nothing waits, nothing is run and no
// message is printed. The calls of the daemon reach them by --wrap; see CMakeLists.txt. Everything outside a
// DaemonScope, as of the fuzzer itself, goes to the system.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <termios.h>

namespace pretend {

/// What the next select() of the loop finds.
enum class Ready { quiet, bytes };

struct System {
    std::string replies;  // what was written to the line since it was taken
    int failingOpens = 0;
    int failingWrites = 0;         // with EIO
    int blockedWrites = 0;         // with EAGAIN
    int shortWrites = 0;           // of one byte
    bool keepsFraming = false;     // tcsetattr() refuses and takes all but framing, as a pseudo-terminal does
    bool refusesRequests = false;  // ioctl() and tcgetattr() fail
    std::int64_t clockNs = 1'000'000'000'000;
    int sleeps = 0;
    int shellRuns = 0;
    termios settings{};
    std::function<Ready(bool away)> select;  // `away`: no port is open
    std::function<ssize_t(char* buffer, std::size_t length)> read;
};

System& system();

/// The line is written and read without a fault.
void healLine();
std::string takeReplies();
/// A descriptor that stands for the line, as open() gives it.
int openLine();

/// The daemon runs on this thread.
class DaemonScope {
public:
    DaemonScope();
    ~DaemonScope();
    DaemonScope(const DaemonScope&) = delete;
    DaemonScope& operator=(const DaemonScope&) = delete;
};

}  // namespace pretend
