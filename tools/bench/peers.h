// Stand-ins for the receiver's other daemons: each owns its service's name, answers every method and tells what it got.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "bench/journal.h"
#include "bench/peerPlan.h"
#include "platform/support/ownership.h"

class Peer;

class Peers {
public:
    /// Returns once all of them can be called. Throws Refused.
    Peers(PeerPlan plan, Journal& journal);
    Peers(const Peers&) = delete;
    Peers& operator=(const Peers&) = delete;
    ~Peers();

    /// The services that a receiver's peers have.
    [[nodiscard]] static std::vector<std::string> names();

    /// How a method ends from now on.
    void answer(const std::string& service, const std::string& method, const PeerAnswer& answer);

private:
    friend class Peer;
    PeerAnswer answerOf(const std::string& service, const std::string& method);

    std::mutex mutex_;
    PeerPlan plan_;
    Journal& journal_;
    UniqueFd stop_;
    std::vector<std::unique_ptr<Peer>> peers_;
};
