// A control system that is connected to a TCP port. Waits as a Program does.
#pragma once

#include <string>
#include <string_view>

#include "platform/support/ownership.h"

class TcpClient {
public:
    /// "127.0.0.1:PORT". Throws std::system_error.
    explicit TcpClient(const std::string& address);

    void send(std::string_view bytes) const;
    /// Sends no more, but still reads.
    void endSending() const;

    /// Everything received so far, waiting until it holds `text`.
    const std::string& await(std::string_view text);
    /// Everything received, once the other side has closed.
    const std::string& awaitEnd();

private:
    bool receive();

    UniqueFd socket_;
    std::string received_;
};
