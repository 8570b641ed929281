// An update among other writers: who waits for the store looks now and then whether it is free, and may find it taken
// each time until it is refused.
#pragma once

#include <cerrno>
#include <chrono>

/// Asks again when the store was others' for as long as a writer waits, 5 s. Else what `update` returns.
template <class Update>
int updateAmongOthers(Update update)
{
    constexpr std::chrono::seconds kLeastWait{4};
    while (true) {
        const auto begun = std::chrono::steady_clock::now();
        const int result = update();
        if (result == 0 || errno != EBUSY || std::chrono::steady_clock::now() - begun < kLeastWait) {
            return result;
        }
    }
}
