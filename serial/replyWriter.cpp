#include "serial/replyWriter.h"

#include <cerrno>
#include <cstdarg>
#include <memory>
#include <poll.h>
#include <unistd.h>

#include "core/consoleParameter.h"
#include "platform/support/fixedText.h"
#include "platform/support/report.h"
#include "serial/uart.h"

namespace {

// A text that cannot proceed for this long is given up; the texts behind it then wait no more until there is room.
constexpr int kPatienceMs = 2'000;

bool waitForRoom(UartPort& port)
{
    pollfd descriptor{port.fd, POLLOUT, 0};
    const int ready = ::poll(&descriptor, 1, port.stalled ? 0 : kPatienceMs);
    if (ready == 0) {
        port.stalled = true;
    }
    return ready > 0 || (ready < 0 && errno == EINTR);
}

[[gnu::format(printf, 1, 0)]] int writeFormatted(const char* format, va_list arguments)
{
    FixedText<kReplyCapacity> text;
    text.vformat(format, arguments);
    if (uartWriteRaw(text.c_str(), text.size()) == -1) {
        reportSystemError("write");
    }
    return 1;
}

}  // namespace

int uartReply(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = writeFormatted(format, arguments);
    va_end(arguments);
    return result;
}

int uartPassThrough(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = writeFormatted(format, arguments);
    va_end(arguments);
    return result;
}

ssize_t uartWriteRaw(const char* bytes, std::size_t length)
{
    const std::shared_ptr<UartPort> port = pConsoleParameterA->uart.hold();
    if (port == nullptr) {
        errno = EBADF;
        return -1;
    }
    std::size_t written = 0;
    do {
        const ssize_t count = ::write(port->fd, bytes + written, length - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
            port->stalled = false;
        } else if (errno == EAGAIN) {
            if (!waitForRoom(*port)) {
                errno = ETIMEDOUT;
                return -1;
            }
        } else if (errno != EINTR) {
            return -1;
        }
    } while (written < length);
    return static_cast<ssize_t>(written);
}
