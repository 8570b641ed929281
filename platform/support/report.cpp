#include "platform/support/report.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "platform/support/fixedText.h"

namespace {

[[gnu::format(printf, 2, 0)]] void printMessage(int fd, const char* format, va_list arguments)
{
    const int kept = errno;
    FixedText<kMessageCapacity> message;
    message.vformat(format, arguments);
    message.endLine();
    // A message that cannot be written has nowhere else to go.
    [[maybe_unused]] const ssize_t written = ::write(fd, message.c_str(), message.size());
    errno = kept;
}

}  // namespace

void printOut(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printMessage(STDOUT_FILENO, format, arguments);
    va_end(arguments);
}

void printError(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vprintError(format, arguments);
    va_end(arguments);
}

void vprintError(const char* format, va_list arguments)
{
    printMessage(STDERR_FILENO, format, arguments);
}

void reportSystemError(const char* label)
{
    const int error = errno;
    char text[128];
    printError("%s: %s\n", label, strerror_r(error, text, sizeof text));
    errno = error;
}
