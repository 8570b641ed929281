#include "fuzz/pretendSystem.h"

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>
#include <utility>

using std::chrono::steady_clock;

namespace {

thread_local int t_daemonDepth = 0;

bool inDaemon()
{
    return t_daemonDepth > 0;
}

bool strikes(int& times)
{
    if (times == 0) {
        return false;
    }
    --times;
    return true;
}

void passTime(std::int64_t microseconds)
{
    pretend::system().clockNs += microseconds * 1'000;
}

int failWith(int error)
{
    errno = error;
    return -1;
}

}  // namespace

namespace pretend {

System& system()
{
    static System& instance = *new System;
    return instance;
}

void healLine()
{
    System& here = system();
    here.failingOpens = here.failingWrites = here.blockedWrites = here.shortWrites = 0;
    here.keepsFraming = here.refusesRequests = false;
}

std::string takeReplies()
{
    return std::exchange(system().replies, {});
}

DaemonScope::DaemonScope()
{
    ++t_daemonDepth;
}

DaemonScope::~DaemonScope()
{
    --t_daemonDepth;
}

}  // namespace pretend

extern "C" {

int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int fd, void* buffer, size_t length);
ssize_t __real_write(int fd, const void* bytes, size_t length);
int __real_poll(pollfd* descriptors, nfds_t count, int timeoutMs);
int __real_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout);
int __real_usleep(useconds_t pauseUs);
unsigned __real_sleep(unsigned seconds);
int __real_system(const char* command);
int __real_tcgetattr(int fd, termios* settings);
int __real_tcsetattr(int fd, int when, const termios* settings);
int __real_tcflush(int fd, int queue);
int __real_ioctl(int fd, unsigned long request, ...);

int __wrap_open(const char* path, int flags, ...)
{
    if (inDaemon()) {
        return strikes(pretend::system().failingOpens) ? failWith(ENXIO) : pretend::openLine();
    }
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return __real_open(path, flags, mode);
}

ssize_t __wrap_read(int fd, void* buffer, size_t length)
{
    if (!inDaemon()) {
        return __real_read(fd, buffer, length);
    }
    return pretend::system().read(static_cast<char*>(buffer), length);
}

ssize_t __wrap_write(int fd, const void* bytes, size_t length)
{
    if (!inDaemon()) {
        return __real_write(fd, bytes, length);
    }
    pretend::System& here = pretend::system();
    if (fd == STDOUT_FILENO || fd == STDERR_FILENO) {
        static char message[16'384];
        std::memcpy(message, bytes, length < sizeof message ? length : sizeof message);  // looked at by the sanitizer
        return static_cast<ssize_t>(length);
    }
    if (strikes(here.failingWrites)) {
        return failWith(EIO);
    }
    if (strikes(here.blockedWrites)) {
        return failWith(EAGAIN);
    }
    const size_t taken = length > 1 && strikes(here.shortWrites) ? 1 : length;
    here.replies.append(static_cast<const char*>(bytes), taken);
    return static_cast<ssize_t>(taken);
}

int __wrap_poll(pollfd* descriptors, nfds_t count, int timeoutMs)
{
    if (!inDaemon()) {
        return __real_poll(descriptors, count, timeoutMs);
    }
    if (timeoutMs < 0) {
        return failWith(EBADF);  // the listener's: it ends, its subscriptions are known
    }
    passTime(std::int64_t{timeoutMs} * 1'000);
    return pretend::system().blockedWrites > 0 ? 0 : 1;
}

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout)
{
    if (!inDaemon()) {
        return __real_select(count, readable, writable, failed, timeout);
    }
    bool away = true;
    for (int fd = 0; fd < count; ++fd) {
        away = away && !FD_ISSET(fd, readable);
    }
    if (pretend::system().select(away) == pretend::Ready::bytes) {
        return 1;
    }
    FD_ZERO(readable);
    passTime(timeout->tv_sec * 1'000'000 + timeout->tv_usec);
    return 0;
}

int __wrap_usleep(useconds_t pauseUs)
{
    if (!inDaemon()) {
        return __real_usleep(pauseUs);
    }
    ++pretend::system().sleeps;
    passTime(pauseUs);
    return 0;
}

unsigned __wrap_sleep(unsigned seconds)
{
    if (!inDaemon()) {
        return __real_sleep(seconds);
    }
    ++pretend::system().sleeps;
    passTime(std::int64_t{seconds} * 1'000'000);
    return 0;
}

int __wrap_system(const char* command)
{
    if (!inDaemon()) {
        return __real_system(command);
    }
    ++pretend::system().shellRuns;
    return 0;
}

int __wrap_tcgetattr(int fd, termios* settings)
{
    if (!inDaemon()) {
        return __real_tcgetattr(fd, settings);
    }
    *settings = pretend::system().settings;
    return pretend::system().refusesRequests ? failWith(EIO) : 0;
}

int __wrap_tcsetattr(int fd, int when, const termios* settings)
{
    if (!inDaemon()) {
        return __real_tcsetattr(fd, when, settings);
    }
    pretend::system().settings = *settings;
    if (pretend::system().keepsFraming) {
        pretend::system().settings.c_cflag = (settings->c_cflag & ~tcflag_t{CSIZE | PARENB | PARODD}) | CS8;
        return failWith(EINVAL);
    }
    return 0;
}

int __wrap_tcflush(int fd, int queue)
{
    return inDaemon() ? 0 : __real_tcflush(fd, queue);
}

int __wrap_ioctl(int fd, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (!inDaemon()) {
        return __real_ioctl(fd, request, argument);
    }
    if (request == TIOCOUTQ) {
        *static_cast<int*>(argument) = pretend::system().blockedWrites;
    }
    return pretend::system().refusesRequests ? failWith(EINVAL) : 0;
}

}  // extern "C"

// std::chrono::steady_clock::now()
steady_clock::time_point realSteadyNow() asm("__real__ZNSt6chrono3_V212steady_clock3nowEv");
steady_clock::time_point pretendSteadyNow() asm("__wrap__ZNSt6chrono3_V212steady_clock3nowEv");

steady_clock::time_point pretendSteadyNow()
{
    return inDaemon() ? steady_clock::time_point(std::chrono::nanoseconds(pretend::system().clockNs)) : realSteadyNow();
}

int pretend::openLine()
{
    return __real_open("/dev/null", O_RDWR | O_CLOEXEC);
}
