// A device around the daemon: a private bus, stores in a temporary directory, stand-ins for the peer services and the
// shell, and a watcher of all events. One at a time in a process, whose environment it sets. Use it, and all of the
// bundled engine, on a thread of its own: the engine keeps connections by the thread.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "endToEnd/childProcess.h"
#include "platform/local/local.h"
#include "support/standIns.h"

class TestDevice {
public:
    struct Call {
        std::string service;
        std::string method;
        std::optional<std::string> params;
    };
    struct PeerAnswer {
        bool absent = false;
        bool silent = false;
        bool fails = false;
        std::optional<std::string> data{};
    };

    TestDevice();
    ~TestDevice();
    TestDevice(const TestDevice&) = delete;
    TestDevice& operator=(const TestDevice&) = delete;

    [[nodiscard]] std::string directory() const { return (directory_.path() / "stores").string(); }
    StandIns& standIns() { return standIns_; }
    /// What a program needs in its environment to be part of this device.
    [[nodiscard]] std::map<std::string, std::string> environment() const;

    // Stores and factory data, announced to nobody once startPeers() has run.
    void put(local::Store store, const std::string& path, const std::string& json) const;
    void putFactoryData(const std::string& key, const std::string& text);
    /// JSON text; nothing when nothing is there.
    [[nodiscard]] static std::optional<std::string> read(local::Store store, const std::string& path);

    /// How a peer's method ends; a service one of whose methods is absent is absent as a whole, from startPeers() on.
    void setPeer(const std::string& service, const std::string& method, const PeerAnswer& answer);
    /// Starts the peers and the watcher.
    void startPeers();

    /// The daemon under a program name; its messages go to `output`.
    [[nodiscard]] std::unique_ptr<ChildProcess>
    startDaemon(const std::string& name, const std::vector<std::string>& arguments, const OutputFile& output);

    std::vector<local::Event> takeEvents();
    std::vector<Call> takeCalls();
    /// True once the watcher has seen an event; events stay to be taken.
    bool hasSeen(const std::string& topic, const std::optional<std::string>& payload);
    void waitForEvent(const std::string& topic, const std::optional<std::string>& payload);

    /// The bus goes away; the peers and the watcher end.
    void stopBus();
    /// It runs again, at the same place.
    void startBus();
    [[nodiscard]] ChildProcess& bus() { return *bus_; }

private:
    class Stop;
    void serve(const std::string& service);
    void watch();
    local::Answer answer(const std::string& service, const local::Request& request);
    void threadReady();

    TemporaryDirectory directory_;
    StandIns standIns_;
    std::unique_ptr<ChildProcess> bus_;
    std::string busAddress_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::pair<std::string, std::string>, PeerAnswer> peers_;
    std::vector<local::Event> events_;
    std::vector<Call> calls_;
    std::size_t ready_ = 0;
    std::string failure_;
    bool peersStarted_ = false;

    UniqueFd stop_;
    std::vector<std::thread> threads_;
};

/// Calls a method as lpc_proxy_call() does, with the patience of tests: an answer may come after more than 3 s from a
/// daemon that is starved.
int callPatiently(const char* service, const char* method, const char* params);
