#include "serial/replyWriter.h"

#include <cerrno>
#include <cstdarg>
#include <memory>

#include "core/consoleParameter.h"
#include "platform/support/fixedText.h"
#include "platform/support/report.h"
#include "serial/uart.h"

namespace {

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
    return uartWrite(*port, bytes, length);
}
