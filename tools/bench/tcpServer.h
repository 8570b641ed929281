// A TCP port with a serial line behind it, as a terminal server has: one client at a time, bytes as they are. A second
// client is let in and closed at once, without a byte; what comes out of the line while nobody is there is lost.
#pragma once

#include <string>
#include <string_view>

#include "platform/support/ownership.h"

class TcpServer {
public:
    /// HOST:PORT, or [ADDRESS]:PORT; port 0 takes a free one. Throws WrongUsage for another text, Refused when the
    /// address cannot be had.
    explicit TcpServer(const std::string& address);

    /// Where it listens, with the port it has taken.
    [[nodiscard]] const std::string& address() const { return address_; }
    /// Readable when `read` has something to do.
    [[nodiscard]] int descriptor() const { return epoll_.get(); }

    /// Lets clients in, refuses them, sees them go. What the client has sent by now.
    std::string read();
    /// For the client, if there is one. One that takes nothing for too long is dropped.
    void write(std::string_view bytes);

    /// Whether the client sends no more; it still gets what is written.
    [[nodiscard]] bool clientIsDone() const { return done_; }
    /// Lets it have what was written, for at most a moment, and closes.
    void dropClient();

private:
    void listenAt(const std::string& host, const std::string& port);
    void watch(int fd, unsigned events);
    void admit();
    std::string receive();
    void flush();

    std::string address_;
    UniqueFd epoll_;
    UniqueFd listener_;
    UniqueFd client_;
    std::string outgoing_;
    bool done_ = false;
};
