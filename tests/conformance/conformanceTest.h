// What the tests of the suite share: the engine's environment, a second process, a listener, and the wait for a
// condition.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "childProcess.h"
#include "engineUnderTest.h"
#include "platform/eventBus.h"
#include "platform/store.h"

inline constexpr std::chrono::seconds kLongEnough{20};
/// What waits for 3 s or 5 s is back within so many seconds, also on a machine that stands still for some of them.
inline constexpr double kNotForEver = 15.0;

/// False when the condition does not come true within kLongEnough.
bool eventually(const std::function<bool()>& condition);

/// Does something over and over until it is once done within so many seconds: a machine that stands still for a moment
/// makes it late, but not each time. False when it is late for kLongEnough. Where the first time is the slow one,
/// prepare makes each time a first one.
bool isOnceDoneWithin(double seconds, const std::function<void()>& work, const std::function<void()>& prepare = {});

/// Whether the descriptor is readable now, or becomes so within the time.
bool isReadable(int fd, std::chrono::milliseconds within = std::chrono::milliseconds(0));

class Stopwatch {
public:
    [[nodiscard]] double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

struct Event {
    std::string topic;
    std::optional<std::string> payload;
    bool operator==(const Event&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Event& event);

/// Subscribed to some topics; takes events in the order of their delivery.
class Listener {
public:
    explicit Listener(const std::vector<std::string>& topics);
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener();

    void subscribe(const std::string& topic);
    /// The next event; nothing when none comes within kLongEnough.
    std::optional<Event> next();
    /// All events up to now: publishes one more and takes what comes before it. Events published by this thread have
    /// arrived by then.
    std::vector<Event> all();

    [[nodiscard]] eventbus* bus() const { return bus_; }
    [[nodiscard]] int fd() const { return eventbus_fileno(bus_); }

private:
    struct Context {
        Listener* listener;
        std::string topic;
    };
    static void onEvent(void* context, const char* payload);

    eventbus* bus_;
    std::deque<std::unique_ptr<Context>> contexts_;
    std::deque<Event> waiting_;
};

class ConformanceTest : public ::testing::Test {
protected:
    ConformanceTest();

    /// The second program, see peer.cpp.
    static ChildProcess peer(std::vector<std::string> words);

    /// Takes the bus away from somebody who has just used it; brings it back before, when it was away.
    void loseBus(const std::function<bool()>& use);

    std::unique_ptr<EngineUnderTest> engine;

private:
    bool busIsAway_ = false;
};

/// Both stores go through the same tests.
struct StoreApi {
    const char* name;
    int (*queryBoolean)(const char*, int*);
    int (*queryInt)(const char*, int*);
    char* (*queryString)(const char*);
    json_token* (*queryToken)(const char*);
    int (*update)(const char*);
    const char* topicSuffix;

    [[nodiscard]] std::optional<bool> boolean(const std::string& document) const;
    [[nodiscard]] std::optional<int> integer(const std::string& document) const;
    [[nodiscard]] std::optional<std::string> text(const std::string& document) const;
    /// The subtree as JSON, or "absent".
    [[nodiscard]] std::string tree(const std::string& document) const;
};
std::ostream& operator<<(std::ostream& out, const StoreApi* store);

extern const StoreApi kSettings;
extern const StoreApi kStatus;

class StoreTest : public ConformanceTest, public ::testing::WithParamInterface<const StoreApi*> {
protected:
    const StoreApi& store = *GetParam();

    /// The topic on which the store announces changes of an area.
    [[nodiscard]] std::string topic(const std::string& area) const { return area + store.topicSuffix; }
};

#define FOR_BOTH_STORES(Suite)                                                                                         \
    INSTANTIATE_TEST_SUITE_P(Stores, Suite, ::testing::Values(&kSettings, &kStatus),                                   \
                             [](const auto& given) { return std::string(given.param->name); })
