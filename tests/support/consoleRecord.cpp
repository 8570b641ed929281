#include "support/consoleRecord.h"

#include <cerrno>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include "serial/uart.h"

ConsoleRecord::ConsoleRecord(int sourceType)
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    farEnd_.reset(ends[1]);
    auto port = std::make_shared<UartPort>();
    port->fd = ends[0];
    record_.sourceType = sourceType;
    record_.uart.replace(std::move(port));
    pConsoleParameterA = &record_;
}

ConsoleRecord::~ConsoleRecord()
{
    pConsoleParameterA = nullptr;
}

std::string ConsoleRecord::takeReplies()
{
    std::string replies;
    char chunk[4096];
    ssize_t count = 0;
    while ((count = ::read(farEnd_.get(), chunk, sizeof chunk)) > 0) {
        replies.append(chunk, static_cast<std::size_t>(count));
    }
    return replies;
}
