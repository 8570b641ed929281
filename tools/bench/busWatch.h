// What passes over the bus, as happenings: events, calls, their answers.
#pragma once

#include <thread>

#include "bench/journal.h"
#include "platform/support/ownership.h"

class BusWatch {
public:
    /// Returns once nothing is missed any more. Throws Refused.
    explicit BusWatch(Journal& journal);
    BusWatch(const BusWatch&) = delete;
    BusWatch& operator=(const BusWatch&) = delete;
    ~BusWatch();

private:
    UniqueFd stop_;
    std::thread thread_;
};
