// A platform in memory for tests: the seam's functions over stores, a bus and services of this process, which record
// what was asked of them and can be told to fail. State is process-wide; reset() between tests. Callable from any
// thread, like the seam.
#pragma once

#include <cerrno>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/eventBus.h"
#include "platform/lpc.h"

namespace recording {

enum class Store { settings, status };

enum class Fault {
    query,
    update,
    statusUpdate,
    publish,
    call,
    run,
    factory,
    busOpen,
    subscribe,
    delivery,
    serviceCreate,
    serviceFileno,
    serve,
};

struct Query {
    Store store;
    std::string path;
};
struct Update {
    Store store;
    std::string document;
    bool stored;
    std::vector<std::string> changed{};  // paths of the leaves that got another value
};
struct Event {
    std::string topic;
    std::optional<std::string> payload;
    std::string from;  // "settings", "status" or "publisher"
};
struct Call {
    std::string service;
    std::string method;
    std::optional<std::string> params;
};
struct LogLine {
    int level;
    std::string text;
};

/// How a peer's method ends. An absent one is not recorded as called: nobody is there to see it.
struct PeerAnswer {
    enum class Kind { completes, answers, fails, absent, silent };
    Kind kind = Kind::completes;
    std::string text{};
};

/// What was asked of the platform, each kind in its order.
struct Record {
    std::vector<Query> queries;
    std::vector<Update> updates;
    std::vector<Event> events;
    std::vector<Call> calls;
    std::vector<std::string> runs;
    std::vector<LogLine> logs;
};

/// Empty stores, no faults, every peer completing, log levels 4 and 5 on, nothing recorded. Bus connections and
/// services stay; events not delivered yet are dropped.
void reset();

/// What was recorded since the last take() or reset().
Record take();

// Setup: not recorded, not announced, never failing.
void put(Store store, const std::string& path, const std::string& json);
void drop(Store store, const std::string& path);
void setFactoryData(const std::string& key, const std::string& text);
void setPeer(const std::string& service, const std::string& method, PeerAnswer answer);
void setRunStatus(int status);
void setLogLevel(int level, bool on);

/// What the stores and the factory data hold, how peers answer and what commands end with.
struct DeviceState {
    std::map<std::string, std::string> settings;  // by path, JSON
    std::map<std::string, std::string> status;
    std::map<std::string, std::string> factory;
    std::map<std::pair<std::string, std::string>, PeerAnswer> peers;
    int runStatus = 0;
};
DeviceState deviceState();
/// As reset(), and then this.
void resetTo(const DeviceState& device);

inline constexpr int kForGood = -1;
/// The next `times` calls of a kind, once `after` of them have passed, fail with `error`.
void fail(Fault fault, int times = kForGood, int error = EIO, int after = 0);
/// The same for the queries of one path.
void failQuery(const std::string& path, int times = kForGood, int error = EIO);

/// The leaf or subtree at a path as JSON text without white space; nothing when there is none.
std::optional<std::string> read(Store store, const std::string& path);
std::map<std::string, std::string> leaves(Store store);

/// Delivers an event that another program published: not recorded.
void deliver(const std::string& topic, const std::optional<std::string>& payload);
/// True once every connection has delivered everything and no callback runs.
bool waitUntilDelivered(std::chrono::milliseconds patience = std::chrono::seconds(20));
/// The subscribed topics in their order, over all connections ever opened, and what each was given as its context.
std::vector<std::string> subscriptions();
std::vector<void*> subscriptionContexts();

/// Calls a method of a service of this process, as another program would, and waits until lpc_service_on_connect() has
/// served it. 0 or -1 with errno set: ENOENT no such method, ECANCELED never completed, ETIMEDOUT not served in time.
int callMethod(lpc_service* service, const std::string& method, const std::optional<std::string>& params,
               std::chrono::milliseconds patience = std::chrono::seconds(20));
/// Has a function run by lpc_service_on_connect() in place of a request; what was in work before it is done then.
/// False when it was not served in time.
bool runOnService(lpc_service* service, std::function<void()> work,
                  std::chrono::milliseconds patience = std::chrono::seconds(20));
/// `into` serves from now on what `from` serves, on its own descriptor.
void adoptMethods(lpc_service* into, const lpc_service* from);
std::vector<std::string> methodNames(const lpc_service* service);

}  // namespace recording
