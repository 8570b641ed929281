// The one descriptor a caller polls for a connection: readable while the connection has something to read or to write,
// also a message that the library has already taken from its socket. It outlives the connections attached to it.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/local/bus.h"
#include "platform/support/ownership.h"

namespace local {

class BusDescriptor {
public:
    /// False with errno set.
    bool open();
    [[nodiscard]] int fd() const { return epoll_.get(); }

    /// False with errno set.
    bool attach(sd_bus* bus);
    /// To be called before the connection is closed.
    void detach();
    /// To be called after every use of the connection: makes the descriptor tell whether something waits.
    void update();

    /// Makes the descriptor readable until the next update. The only call that another thread may make.
    void raise();
    /// The same, not before that time has passed.
    void raiseIn(int milliseconds);
    void quieten();

private:
    UniqueFd epoll_;
    UniqueFd waiting_;  // timerfd, over for what no socket tells
    std::atomic<bool> raised_ = false;
    sd_bus* bus_ = nullptr;
    int busFd_ = -1;
    std::uint32_t busEvents_ = 0;
};

}  // namespace local
