// What happens in the receiver: told by the threads that see it, taken by the one that runs the bench.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "bench/peerPlan.h"
#include "platform/support/ownership.h"

struct Happening {
    enum class Kind {
        typed,        ///< bytes given to the console's port
        printed,      ///< bytes that came out of it
        linkPrinted,  ///< bytes that came out of the port of the other instance
        event,        ///< on the bus; `service` is who announced it: settings, status or publisher
        call,         ///< on the bus, of a method
        answer,       ///< to such a call
        failure,      ///< of such a call
        peerCall,     ///< a stand-in for a peer was called
        command,      ///< a shell command that would have been run
        note,         ///< something to say about `service`
    };
    Kind kind;
    std::string service{};
    std::string name{};                 ///< topic or method
    std::optional<std::string> text{};  ///< bytes, payload, argument, answer, command
    pid_t by = 0;                       ///< who published or called; 0: not known
    PeerAnswer answer{};                ///< of a peerCall: what it gets
    std::chrono::steady_clock::time_point time{};
};

class Journal {
public:
    /// Throws Refused.
    Journal();

    /// Any thread may call it.
    void add(Happening happening);
    /// What was added since the last time, in its order.
    std::vector<Happening> take();
    /// Readable when there is something to take.
    [[nodiscard]] int descriptor() const { return ready_.get(); }

private:
    std::mutex mutex_;
    std::vector<Happening> happenings_;
    UniqueFd ready_;
};
