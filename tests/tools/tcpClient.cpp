#include "tcpClient.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

#include "program.h"

TcpClient::TcpClient(const std::string& address) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<in_port_t>(std::stoi(address.substr(address.find(':') + 1))));
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0) {
        throw std::system_error(errno, std::generic_category(), address);
    }
}

void TcpClient::send(std::string_view bytes) const
{
    EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

void TcpClient::endSending() const
{
    shutdown(socket_.get(), SHUT_WR);
}

/// False at the end, or when nothing comes for too long.
bool TcpClient::receive()
{
    pollfd readable{.fd = socket_.get(), .events = POLLIN, .revents = 0};
    const auto patience = std::chrono::milliseconds(kPatience).count();
    if (poll(&readable, 1, static_cast<int>(patience)) <= 0) {
        ADD_FAILURE() << "nothing more came after: " << received_;
        return false;
    }
    char chunk[4096];
    const auto count = recv(socket_.get(), chunk, sizeof chunk, 0);
    if (count > 0) {
        received_.append(chunk, static_cast<std::size_t>(count));
    }
    return count > 0;
}

const std::string& TcpClient::await(std::string_view text)
{
    while (received_.find(text) == std::string::npos) {
        if (!receive()) {
            ADD_FAILURE() << "'" << text << "' did not come, only: " << received_;
            break;
        }
    }
    return received_;
}

const std::string& TcpClient::awaitEnd()
{
    while (receive()) {
    }
    return received_;
}
