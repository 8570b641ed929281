// The connection over which one thread publishes, announces and calls: made at its first use, kept, and made anew when
// the bus comes back. One connection keeps the order of what a thread sends.
#pragma once

#include "platform/local/bus.h"

namespace local {

class ThreadBus {
public:
    static ThreadBus& ofThread();

    /// Connects when needed, at most once a second after a failure. Null with errno set.
    sd_bus* connection();

    /// Hands the connection to `attempt`, which sends something and returns a negative errno when that failed. When the
    /// bus turns out to be gone, a new connection is tried once. 0, or -1 with errno set.
    template <class Attempt>
    int send(Attempt attempt)
    {
        for (int round = 0;; ++round) {
            sd_bus* bus = connection();
            if (bus == nullptr) {
                return -1;
            }
            const int result = attempt(bus);
            if (result >= 0) {
                return 0;
            }
            if (isDisconnection(result)) {
                drop();
                if (round == 0) {
                    continue;
                }
            } else if (result == -ETIMEDOUT) {
                postpone(ETIMEDOUT);
            }
            return failWith(-result);
        }
    }

    /// The connection is of no more use.
    void drop();

private:
    // 0, or a negative errno.
    int connect();
    // No further attempt within the next second.
    void postpone(int error);
    void drain();

    Connection bus_;
    Connection coming_;  // of a bus that did not answer in time, and may yet
    std::uint64_t nextAttemptUs_ = 0;
    int lastError_ = 0;
    unsigned uses_ = 0;
};

}  // namespace local
