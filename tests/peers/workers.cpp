#include "peers/workers.h"

#include <exception>
#include <stdexcept>

void Workers::add(std::function<void()> round)
{
    threads_.emplace_back([this, round = std::move(round)] {
        try {
            while (!stop_) {
                round();
            }
        } catch (const std::exception& error) {
            const std::lock_guard lock(mutex_);
            failure_ += std::string(error.what()) + '\n';
            stop_ = true;
        }
    });
}

void Workers::work(std::chrono::seconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    while (!stop_ && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    join();
    if (!failure_.empty()) {
        throw std::runtime_error(failure_);
    }
}

void Workers::join()
{
    stop_ = true;
    for (std::thread& thread : threads_) {
        thread.join();
    }
    threads_.clear();
}
