// Waiting for a condition: tests never wait for a time.
#pragma once

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

/// Long enough for a loaded machine, a sanitizer, an emulator; nobody waits so long unless something is broken.
inline constexpr std::chrono::seconds kPatience{RECEIVER_TEST_PATIENCE};

template <class Condition>
bool becomesTrue(Condition condition, std::chrono::milliseconds patience = kPatience)
{
    constexpr std::chrono::microseconds kFirstNap{50};
    constexpr std::chrono::microseconds kLongestNap{2'000};
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (auto nap = kFirstNap; !condition(); nap = std::min(nap * 2, kLongestNap)) {
        if (std::chrono::steady_clock::now() > deadline) {
            return condition();
        }
        std::this_thread::sleep_for(nap);
    }
    return true;
}

template <class Condition>
void waitFor(const char* what, Condition condition)
{
    if (!becomesTrue(condition)) {
        throw std::runtime_error(std::string("waited in vain for ") + what);
    }
}
