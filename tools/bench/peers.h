// Stand-ins for the receiver's other daemons: each owns its service's name, answers every method and says what it got.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/support/ownership.h"

class Peer;

class Peers {
public:
    /// Returns once all of them can be called. Throws Refused.
    Peers();
    Peers(const Peers&) = delete;
    Peers& operator=(const Peers&) = delete;
    ~Peers();

    [[nodiscard]] static std::vector<std::string> names();

private:
    UniqueFd stop_;
    std::vector<std::unique_ptr<Peer>> peers_;
};
