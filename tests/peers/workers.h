// Threads of a load test: they work until they are told to stop, or until one of them fails.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class Workers {
public:
    ~Workers() { join(); }

    /// Runs `round` over and over on a thread of its own; what it throws ends all of them.
    void add(std::function<void()> round);
    /// Lets them work for a while, then ends them after the round each is in. Throws what one of them threw.
    void work(std::chrono::seconds time);

private:
    void join();

    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::string failure_;
    std::vector<std::thread> threads_;
};
