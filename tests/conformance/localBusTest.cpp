// The bundled engine's mapping to D-Bus, seen from a plain D-Bus client, and the part of it that serves the tools.
#include <atomic>
#include <cerrno>
#include <mutex>
#include <pthread.h>
#include <sys/eventfd.h>
#include <systemd/sd-bus.h>
#include <thread>
#include <unistd.h>

#include "conformanceTest.h"
#include "platform/local/local.h"
#include "platform/lpc.h"

namespace {

std::atomic<int> g_threadsToRefuse = 0;

}  // namespace

// The wrapped call; see the link options.
extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* context);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* context)
{
    if (g_threadsToRefuse > 0) {
        --g_threadsToRefuse;
        return EAGAIN;
    }
    return __real_pthread_create(thread, attributes, entry, context);
}
}

namespace {

// Another program on the bus.
class Client {
public:
    Client() { EXPECT_GE(sd_bus_open_user(&bus_), 0); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() { sd_bus_flush_close_unref(bus_); }

    [[nodiscard]] sd_bus* get() const { return bus_; }
    [[nodiscard]] std::string name() const
    {
        const char* unique = nullptr;
        sd_bus_get_unique_name(bus_, &unique);
        return unique;
    }

    // The name of the error, or "" and the answer's text.
    template <class... Arguments>
    std::pair<std::string, std::string> call(const char* service, const char* path, const char* interface,
                                             const char* method, const char* types, Arguments... arguments)
    {
        sd_bus_error error{};
        sd_bus_message* answer = nullptr;
        sd_bus_call_method(bus_, service, path, interface, method, &error, &answer, types, arguments...);
        std::pair<std::string, std::string> result(error.name != nullptr ? error.name : "", "");
        const char* text = nullptr;
        if (answer != nullptr && sd_bus_message_has_signature(answer, "s") > 0) {
            sd_bus_message_read_basic(answer, 's', &text);
            result.second = text;
        }
        sd_bus_message_unref(answer);
        sd_bus_error_free(&error);
        return result;
    }

private:
    sd_bus* bus_ = nullptr;
};

class StopFlag {
public:
    [[nodiscard]] int fd() const { return fd_; }
    void raise() const { eventfd_write(fd_, 1); }
    StopFlag() = default;
    StopFlag(const StopFlag&) = delete;
    StopFlag& operator=(const StopFlag&) = delete;
    ~StopFlag() { ::close(fd_); }

private:
    int fd_ = eventfd(0, EFD_CLOEXEC);
};

// A value handed from one thread to another.
template <class Value>
class Handover {
public:
    void put(Value value)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        values_.push_back(std::move(value));
    }
    std::vector<Value> values()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return values_;
    }

private:
    std::mutex mutex_;
    std::vector<Value> values_;
};

class LocalBus : public ConformanceTest {};

TEST_F(LocalBus, EventsAreSignalsThatTellTheirPublisher)
{
    const Client client;
    ASSERT_GE(sd_bus_call_method(client.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                 "AddMatch", nullptr, nullptr, "s", "type='signal',interface='receiver.Event'"),
              0);
    ASSERT_EQ(eventbus_publish("topic", nullptr), 0);
    ASSERT_EQ(eventbus_publish("topic", "text"), 0);
    ASSERT_EQ(eventbus_publish("topic", "\xff"), 0);
    ASSERT_EQ(user_config_update(R"({"a":{"b":1}})"), 0);
    ASSERT_EQ(user_status_update(R"({"a":{"b":1}})"), 0);
    std::vector<std::string> seen;
    while (seen.size() < 5) {
        sd_bus_message* message = nullptr;
        const int result = sd_bus_process(client.get(), &message);
        ASSERT_GE(result, 0);
        if (message != nullptr && sd_bus_message_is_signal(message, "receiver.Event", nullptr) > 0) {
            seen.push_back(std::string(sd_bus_message_get_path(message)) + ' ' + sd_bus_message_get_member(message) +
                           " (" + sd_bus_message_get_signature(message, 1) + ')');
        }
        sd_bus_message_unref(message);
        if (result == 0) {
            ASSERT_GT(sd_bus_wait(client.get(), 20'000'000), 0);
        }
    }
    EXPECT_EQ(seen,
              (std::vector<std::string>{"/receiver/publisher topic ()", "/receiver/publisher topic (s)",
                                        "/receiver/publisher topic (ay)", "/receiver/settings aUserConfigChanged (s)",
                                        "/receiver/status aStatusConfigChanged (s)"}));
}

// What a bus daemon without limits of its own takes in one message, less what a header may need.
constexpr std::size_t kLongestText = 32U * 1024 * 1024 - 4096;
// Such a text is read in many small pieces, each of which costs a sanitizer a copy of the whole: seconds, on a busy
// machine a minute.
constexpr int kTenMinutesMs = 600'000;

TEST_F(LocalBus, ATextThatTheBusWouldNotTakeIsRefusedBeforeItIsSent)
{
    const std::string longestName(200, 't');
    Listener listener({longestName, "topic"});
    // Both forms of a text, as UTF-8 and as bytes.
    for (const char filling : {'x', '\xff'}) {
        const std::string longest(kLongestText, filling);
        errno = 0;
        EXPECT_NE(eventbus_publish("topic", (longest + 'x').c_str()), 0);
        EXPECT_EQ(errno, EMSGSIZE);
        // The bus may be too busy to take so much in the time there is, and then gets nothing.
        ASSERT_TRUE(eventually([&] { return eventbus_publish(longestName.c_str(), longest.c_str()) == 0; }));
        ASSERT_EQ(eventbus_publish("topic", "short"), 0);
        // Compared here, so that a failure does not print the text.
        const auto arrived = listener.next();
        EXPECT_TRUE(arrived == (Event{longestName, longest}));
        EXPECT_EQ(listener.next(), (Event{"topic", "short"}));
    }
}

TEST_F(LocalBus, AnUpdateThatIsTooLongToAnnounceIsStored)
{
    Listener listener({"aUserConfigChanged"});
    ASSERT_EQ(user_config_update((R"({"a":{"b":")" + std::string(kLongestText, 'x') + "\"}}").c_str()), 0);
    ASSERT_EQ(user_config_update(R"({"a":{"c":1}})"), 0);
    EXPECT_EQ(listener.next(), (Event{"aUserConfigChanged", R"({"a":{"c":1}})"}));
    EXPECT_EQ(kSettings.text(R"({"a":{"b":""}})").value_or("").size(), kLongestText);
}

TEST_F(LocalBus, AnArgumentOrAnAnswerThatTheBusWouldNotTakeIsRefused)
{
    const StopFlag stop;
    std::atomic<bool> ready = false;
    std::thread server([&] {
        EXPECT_EQ(local::serveMethods(
                      "standIn", {}, stop.fd(), [&] { ready = true; },
                      [](const local::Request& request) {
                          const std::size_t more = request.method == "tooLong" ? 1 : 0;
                          return local::Answer{.failed = false, .data = std::string(kLongestText + more, 'x')};
                      }),
                  0);
    });
    ASSERT_TRUE(eventually([&] { return ready.load(); }));
    errno = 0;
    EXPECT_NE(lpc_proxy_call("standIn", "any", std::string(kLongestText + 1, 'x').c_str()), 0);
    EXPECT_EQ(errno, EMSGSIZE);
    lpc_completion* completion = lpc_proxy_call_with_reply("standIn", "any", nullptr);
    ASSERT_EQ(lpc_completion_wait(completion, kTenMinutesMs), 0);
    EXPECT_EQ(std::string(lpc_completion_data(completion)).size(), kLongestText);
    lpc_completion_destroy(completion);
    errno = 0;
    EXPECT_NE(lpc_proxy_call("standIn", "tooLong", nullptr), 0);
    EXPECT_EQ(errno, EIO);
    stop.raise();
    server.join();
}

TEST_F(LocalBus, EventsOfOtherProgramsAreTaken)
{
    const Client client;
    Listener listener({"topic"});
    const auto emit = [&](const char* path, const char* types, auto... arguments) {
        ASSERT_GE(sd_bus_emit_signal(client.get(), path, "receiver.Event", "topic", types, arguments...), 0);
        ASSERT_GE(sd_bus_flush(client.get()), 0);
    };
    emit("/anywhere", "s", "text");
    emit("/receiver/publisher", "ay", 3, 'a', 'b', 0xff);
    emit("/receiver/publisher", "ay", 0);
    emit("/receiver/publisher", "");
    emit("/receiver/publisher", "i", 5);  // no text: let pass
    emit("/receiver/publisher", "s", "last");
    for (const std::optional<std::string>& payload :
         std::vector<std::optional<std::string>>{"text", "ab\xff", "", std::nullopt, "last"}) {
        EXPECT_EQ(listener.next(), (Event{"topic", payload}));
    }
    EXPECT_EQ(listener.all(), std::vector<Event>{});
}

TEST_F(LocalBus, AFloodIsDeliveredInPieces)
{
    Listener listener({"flood"});
    int delivered = 0;
    ASSERT_EQ(eventbus_subscribe(
                  listener.bus(), "flood", [](void* count, const char*) { ++*static_cast<int*>(count); }, &delivered),
              0);
    for (int i = 0; i < 1'000; ++i) {
        ASSERT_EQ(eventbus_publish("flood", nullptr), 0);
    }
    while (delivered < 1'000) {
        ASSERT_TRUE(isReadable(listener.fd(), kLongEnough));
        const int before = delivered;
        ASSERT_EQ(eventbus_on_data_available(listener.bus()), 0);
        ASSERT_LE(delivered - before, 64);
    }
}

TEST_F(LocalBus, ServicesAnswerAnyClient)
{
    ChildProcess process = peer({"serve", "plain"});
    ASSERT_EQ(process.line(), "ready");
    Client client;
    const char* service = "receiver.lpc.plain";
    const char* path = "/receiver/lpc";
    const char* interface = "receiver.Lpc";
    EXPECT_EQ(client.call(service, path, interface, "say", "s", "x").first, "");
    EXPECT_EQ(process.line(), "text 78");
    EXPECT_EQ(client.call(service, path, nullptr, "say", "").first, "");
    EXPECT_EQ(process.line(), "null");
    EXPECT_EQ(client.call(service, path, interface, "say", "ay", 2, 0xff, 1).first, "");
    EXPECT_EQ(process.line(), "text ff01");
    EXPECT_EQ(client.call(service, path, interface, "say", "ay", 2, 'a', 0).first, SD_BUS_ERROR_INVALID_ARGS);
    EXPECT_EQ(client.call(service, path, interface, "say", "i", 5).first, SD_BUS_ERROR_INVALID_ARGS);
    EXPECT_EQ(client.call(service, path, interface, "say", "ss", "a", "b").first, SD_BUS_ERROR_INVALID_ARGS);
    EXPECT_EQ(client.call(service, path, interface, "none", "").first, SD_BUS_ERROR_UNKNOWN_METHOD);
    EXPECT_EQ(client.call(service, path, "other.Interface", "say", "").first, SD_BUS_ERROR_UNKNOWN_INTERFACE);
    EXPECT_EQ(client.call(service, "/other", interface, "say", "").first, SD_BUS_ERROR_UNKNOWN_OBJECT);
    EXPECT_EQ(client.call(service, path, interface, "forget", "").first, "receiver.Error.Failed");
    EXPECT_EQ(client.call(service, path, "org.freedesktop.DBus.Peer", "Ping", "").first, "");
    const auto [error, description] =
        client.call(service, path, "org.freedesktop.DBus.Introspectable", "Introspect", "");
    EXPECT_EQ(error, "");
    for (const char* method : {"say", "forget", "completeLater", "die"}) {
        EXPECT_NE(description.find(std::string("<method name=\"") + method + "\">"), std::string::npos) << method;
    }
}

TEST_F(LocalBus, AServiceWithoutMethodsRefusesEveryCall)
{
    lpc_service* service = lpc_service_create("own", nullptr, 0, nullptr);
    ASSERT_NE(service, nullptr);
    std::atomic<bool> answered = false;
    std::thread loop([&] {
        while (!answered) {
            if (isReadable(lpc_service_fileno(service), std::chrono::milliseconds(10))) {
                EXPECT_EQ(lpc_service_on_connect(service), 0);
            }
        }
    });
    Client client;
    EXPECT_EQ(client.call("receiver.lpc.own", "/receiver/lpc", "receiver.Lpc", "any", "").first,
              SD_BUS_ERROR_UNKNOWN_METHOD);
    answered = true;
    loop.join();
    lpc_service_destroy(service);
}

TEST_F(LocalBus, AServiceComesBackAlsoWhenAThreadCouldNotBeStartedAtOnce)
{
    lpc_service* service = lpc_service_create("own", nullptr, 0, nullptr);
    ASSERT_NE(service, nullptr);
    const int fd = lpc_service_fileno(service);
    engine->killBus();
    g_threadsToRefuse = 2;
    const Stopwatch watch;
    int failures = 0;
    while (g_threadsToRefuse > 0 && isReadable(fd, kLongEnough)) {
        failures += lpc_service_on_connect(service) != 0 ? 1 : 0;
    }
    EXPECT_EQ(failures, 1);
    EXPECT_GE(watch.seconds(), 1.0);  // between the two
    engine->startBus();
    Client client;
    EXPECT_TRUE(eventually([&] {
        if (isReadable(fd)) {
            EXPECT_EQ(lpc_service_on_connect(service), 0);
        }
        return sd_bus_get_name_creds(client.get(), "receiver.lpc.own", 0, nullptr) >= 0;
    }));
    lpc_service_destroy(service);
}

TEST_F(LocalBus, AListenerRefusesCalls)
{
    const Listener listener({"topic"});
    const Client client;
    // Its unique name is not told; the bus numbers connections in order, and the client's is the one after it.
    const std::string own = client.name();
    const std::string other =
        own.substr(0, own.rfind('.') + 1) + std::to_string(std::stoi(own.substr(own.rfind('.') + 1)) - 1);
    std::pair<std::string, std::string> outcome;
    std::atomic<bool> answered = false;
    std::thread caller([&] {
        Client second;
        outcome = second.call(other.c_str(), "/", "any.Thing", "Method", "");
        answered = true;
    });
    EXPECT_TRUE(eventually([&] {
        EXPECT_EQ(eventbus_on_data_available(listener.bus()), 0);
        return answered.load();
    }));
    caller.join();
    EXPECT_EQ(outcome.first, SD_BUS_ERROR_UNKNOWN_OBJECT);
}

TEST_F(LocalBus, StandInsAnswerWithDataOrAnError)
{
    const StopFlag stop;
    Handover<std::string> requests;
    std::atomic<bool> ready = false;
    std::thread server([&] {
        EXPECT_EQ(local::serveMethods(
                      "standIn", {"data", "fail", "silent"}, stop.fd(), [&] { ready = true; },
                      [&](const local::Request& request) {
                          requests.put(request.method + ' ' + request.params.value_or("(null)"));
                          local::Answer answer{.failed = request.method == "fail", .data = {}};
                          if (request.method == "data") {
                              answer.data = "caf\xe9 " + request.params.value_or("");
                          }
                          return answer;
                      }),
                  0);
    });
    ASSERT_TRUE(eventually([&] { return ready.load(); }));
    lpc_completion* completion = lpc_proxy_call_with_reply("standIn", "data", "x");
    ASSERT_EQ(lpc_completion_wait(completion, 9'000), 0);
    EXPECT_STREQ(lpc_completion_data(completion), "caf\xe9 x");
    lpc_completion_destroy(completion);
    completion = lpc_proxy_call_with_reply("standIn", "silent", nullptr);
    ASSERT_EQ(lpc_completion_wait(completion, 9'000), 0);
    EXPECT_EQ(lpc_completion_data(completion), nullptr);
    lpc_completion_destroy(completion);
    EXPECT_NE(lpc_proxy_call("standIn", "fail", ""), 0);
    EXPECT_NE(lpc_proxy_call("standIn", "none", nullptr), 0);
    EXPECT_EQ(requests.values(), (std::vector<std::string>{"data x", "silent (null)", "fail "}));

    errno = 0;
    EXPECT_EQ(local::serveMethods(
                  "standIn", {}, stop.fd(), [] {}, [](const local::Request&) { return local::Answer{}; }),
              -1);
    EXPECT_EQ(errno, EEXIST);
    stop.raise();
    server.join();
}

TEST_F(LocalBus, AStandInWithoutNamesTakesEveryMethod)
{
    const StopFlag stop;
    std::atomic<bool> ready = false;
    int result = 0;
    int error = 0;
    std::thread server([&] {
        result = local::serveMethods(
            "standIn", {}, stop.fd(), [&] { ready = true; }, [](const local::Request&) { return local::Answer{}; });
        error = errno;
    });
    ASSERT_TRUE(eventually([&] { return ready.load(); }));
    EXPECT_EQ(lpc_proxy_call("standIn", "anything", nullptr), 0);
    EXPECT_EQ(lpc_proxy_call("standIn", "else", "x"), 0);
    engine->killBus();
    server.join();
    EXPECT_EQ(result, -1);
    EXPECT_NE(error, 0);
}

TEST_F(LocalBus, AWatchTellsTopicPayloadAndPublisher)
{
    const StopFlag stop;
    Handover<std::string> events;
    std::atomic<bool> ready = false;
    std::thread watch([&] {
        EXPECT_EQ(local::watchEvents(
                      {}, stop.fd(), [&] { ready = true; },
                      [&](const local::Event& event) {
                          events.put(event.topic + ' ' + event.payload.value_or("(null)") + ' ' +
                                     std::string(event.from));
                      }),
                  0);
    });
    ASSERT_TRUE(eventually([&] { return ready.load(); }));
    ASSERT_EQ(eventbus_publish("topic", nullptr), 0);
    ASSERT_EQ(local::publishBytes("topic", std::string_view("a\0b", 3)), 0);
    ASSERT_EQ(user_config_update(R"({"a":{"b":1}})"), 0);
    ASSERT_EQ(user_status_update(R"({"a":{"b":1}})"), 0);
    EXPECT_TRUE(eventually([&] { return events.values().size() == 4; }));
    stop.raise();
    watch.join();
    EXPECT_EQ(events.values(),
              (std::vector<std::string>{"topic (null) publisher", std::string("topic a\0b publisher", 19),
                                        R"(aUserConfigChanged {"a":{"b":1}} settings)",
                                        R"(aStatusConfigChanged {"a":{"b":1}} status)"}));
}

TEST_F(LocalBus, AWatchOfSomeTopicsSeesNoOther)
{
    const StopFlag stop;
    Handover<std::string> events;
    std::atomic<bool> ready = false;
    int result = 0;
    std::thread watch([&] {
        result = local::watchEvents(
            {"one", "two"}, stop.fd(), [&] { ready = true; },
            [&](const local::Event& event) { events.put(event.topic); });
    });
    ASSERT_TRUE(eventually([&] { return ready.load(); }));
    for (const char* topic : {"zero", "one", "three", "two"}) {
        ASSERT_EQ(eventbus_publish(topic, nullptr), 0);
    }
    EXPECT_TRUE(eventually([&] { return events.values().size() >= 2; }));
    EXPECT_EQ(events.values(), (std::vector<std::string>{"one", "two"}));
    engine->killBus();
    watch.join();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(local::watchEvents(
                  {"no topic"}, stop.fd(), [] {}, [](const local::Event&) {}),
              -1);
}

}  // namespace
