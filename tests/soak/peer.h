// Programs of the device that come and go: a service with every method, and a watcher of events.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "platform/local/local.h"
#include "platform/support/ownership.h"

class Peer {
public:
    /// Counts the calls of a service's methods.
    explicit Peer(std::string service) : service_(std::move(service)) {}
    ~Peer() { leave(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    [[nodiscard]] bool present() const { return thread_.joinable(); }
    /// Returns once it serves. Throws when it cannot.
    void come();
    void leave();

    [[nodiscard]] std::size_t calls() const { return calls_; }

private:
    std::string service_;
    UniqueFd stop_;
    std::thread thread_;
    std::atomic<std::size_t> calls_{0};
};

class Watcher {
public:
    /// Has every event of a topic handed over, on a thread of the watcher's own. Throws when it cannot.
    Watcher(const std::string& topic, std::function<void(const local::Event&)> onEvent);
    ~Watcher();
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

private:
    UniqueFd stop_;
    std::thread thread_;
};
