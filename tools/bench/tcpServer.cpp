#include "bench/tcpServer.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/limits.h"
#include "bench/notes.h"
#include "support/failure.h"

namespace {

// More than all that the console ever says at once.
constexpr std::size_t kMostUnread = 1U << 20U;

struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

void setOption(int fd, int level, int option, int value)
{
    setsockopt(fd, level, option, &value, sizeof value);
}

std::string nameOf(const sockaddr* address, socklen_t length)
{
    char host[NI_MAXHOST];
    char port[NI_MAXSERV];
    if (getnameinfo(address, length, host, sizeof host, port, sizeof port, NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "?";
    }
    const bool six = std::strchr(host, ':') != nullptr;
    return (six ? "[" + std::string(host) + "]" : std::string(host)) + ":" + port;
}

UniqueFd listener(const addrinfo& place)
{
    UniqueFd fd(socket(place.ai_family, place.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, place.ai_protocol));
    if (fd) {
        setOption(fd.get(), SOL_SOCKET, SO_REUSEADDR, 1);  // the port may just have been left
        if (bind(fd.get(), place.ai_addr, place.ai_addrlen) != 0 || listen(fd.get(), SOMAXCONN) != 0) {
            const int error = errno;
            fd.reset();
            errno = error;
        }
    }
    return fd;
}

/// What would be right where nothing can listen; empty when there is nothing to advise.
std::string listenRemedy(int error)
{
    switch (error) {
    case EADDRINUSE: return "; name another port; 0 takes a free one";
    case EACCES: return "; name a port from 1024 on, those below are root's; 0 takes a free one";
    case EADDRNOTAVAIL: return "; name an address of this machine, such as 127.0.0.1";
    default: return {};
    }
}

}  // namespace

TcpServer::TcpServer(const std::string& address) : epoll_(epoll_create1(EPOLL_CLOEXEC))
{
    const std::size_t colon = address.rfind(':');
    std::string host = address.substr(0, colon);
    const std::string port = colon == std::string::npos ? "" : address.substr(colon + 1);
    const bool bracketed = host.starts_with('[') && host.ends_with(']');
    if (bracketed) {
        host = host.substr(1, host.size() - 2);
    }
    const bool plain = host.find(':') == std::string::npos;
    if (host.empty() || port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos ||
        std::stoi(port) > 65535 || (!bracketed && !plain)) {
        throw WrongUsage("--tcp takes HOST:PORT, such as 127.0.0.1:9001 (port 0 takes a free one), not '" + address +
                         "'");
    }
    listenAt(host, port);
}

void TcpServer::listenAt(const std::string& host, const std::string& port)
{
    const addrinfo wanted{.ai_flags = AI_PASSIVE | AI_NUMERICSERV,
                          .ai_family = AF_UNSPEC,
                          .ai_socktype = SOCK_STREAM,
                          .ai_protocol = 0,
                          .ai_addrlen = 0,
                          .ai_addr = nullptr,
                          .ai_canonname = nullptr,
                          .ai_next = nullptr};
    addrinfo* found = nullptr;
    const int failure = getaddrinfo(host.c_str(), port.c_str(), &wanted, &found);
    const Addresses places(found);
    if (failure != 0) {
        throw Refused("'" + host + "' is no address of this machine: " + gai_strerror(failure) +
                      "; name one, such as 127.0.0.1");
    }
    listener_ = listener(*places);
    if (!listener_) {
        const int error = errno;
        throw Refused("nothing can listen at " + host + ":" + port + ": " + std::strerror(error) + listenRemedy(error));
    }
    sockaddr_storage taken{};
    socklen_t length = sizeof taken;
    getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&taken), &length);
    address_ = nameOf(reinterpret_cast<sockaddr*>(&taken), length);
    watch(listener_.get(), EPOLLIN);
}

void TcpServer::watch(int fd, unsigned events)
{
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, fd, &event) != 0) {
        epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event);
    }
}

std::string TcpServer::read()
{
    flush();
    std::string bytes = client_ && !done_ ? receive() : std::string();
    if (!done_) {
        admit();  // a client that has gone is seen off before the next is looked at
    }
    return bytes;
}

std::string TcpServer::receive()
{
    std::string bytes;
    char chunk[4096];
    while (true) {
        const auto count = ::recv(client_.get(), chunk, sizeof chunk, 0);
        if (count > 0) {
            bytes.append(chunk, static_cast<std::size_t>(count));
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else {
            done_ = count == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
            break;
        }
    }
    if (done_) {
        watch(client_.get(), 0);
    }
    return bytes;
}

void TcpServer::admit()
{
    while (true) {
        sockaddr_storage from{};
        socklen_t length = sizeof from;
        UniqueFd comer(
            accept4(listener_.get(), reinterpret_cast<sockaddr*>(&from), &length, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!comer) {
            return;
        }
        const std::string name = nameOf(reinterpret_cast<sockaddr*>(&from), length);
        if (client_) {
            note("receiver-bench: " + name + " is refused; one client at a time has the console");
            continue;
        }
        client_ = std::move(comer);
        done_ = false;
        setOption(client_.get(), IPPROTO_TCP, TCP_NODELAY, 1);
        // One that vanished without a word is noticed after a minute.
        setOption(client_.get(), SOL_SOCKET, SO_KEEPALIVE, 1);
        setOption(client_.get(), IPPROTO_TCP, TCP_KEEPIDLE, 30);
        setOption(client_.get(), IPPROTO_TCP, TCP_KEEPINTVL, 10);
        setOption(client_.get(), IPPROTO_TCP, TCP_KEEPCNT, 3);
        watch(client_.get(), EPOLLIN);
        note("receiver-bench: " + name + " has the console");
    }
}

void TcpServer::write(std::string_view bytes)
{
    if (!client_) {
        return;
    }
    outgoing_ += bytes;
    flush();
    if (outgoing_.size() > kMostUnread) {
        note("receiver-bench: the client does not read; closed");
        outgoing_.clear();
        dropClient();
    }
}

void TcpServer::flush()
{
    while (client_ && !outgoing_.empty()) {
        const auto count = ::send(client_.get(), outgoing_.data(), outgoing_.size(), MSG_NOSIGNAL);
        if (count > 0) {
            outgoing_.erase(0, static_cast<std::size_t>(count));
        } else if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            break;
        } else if (count == 0 || errno != EINTR) {
            outgoing_.clear();  // it is gone, which reading tells
        }
    }
    if (client_) {
        watch(client_.get(), (done_ ? 0U : EPOLLIN) | (outgoing_.empty() ? 0U : EPOLLOUT));
    }
}

void TcpServer::dropClient()
{
    if (client_ && !outgoing_.empty()) {
        pollfd room{.fd = client_.get(), .events = POLLOUT, .revents = 0};
        poll(&room, 1, kPortTimeMs);
        flush();
    }
    client_.reset();  // which also takes it out of the epoll set
    outgoing_.clear();
    done_ = false;
    note("receiver-bench: the client has gone");
}
