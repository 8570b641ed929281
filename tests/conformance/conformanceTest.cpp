#include "conformanceTest.h"

#include <cstdlib>
#include <poll.h>
#include <thread>

bool eventually(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + kLongEnough;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

bool isOnceDoneWithin(double seconds, const std::function<void()>& work, const std::function<void()>& prepare)
{
    return eventually([&] {
        if (prepare) {
            prepare();
        }
        const Stopwatch watch;
        work();
        return watch.seconds() < seconds;
    });
}

bool isReadable(int fd, std::chrono::milliseconds within)
{
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
    return ::poll(&waiting, 1, static_cast<int>(within.count())) > 0;
}

std::ostream& operator<<(std::ostream& out, const Event& event)
{
    return out << event.topic << ' ' << event.payload.value_or("(null)");
}

namespace {

constexpr const char* kMarker = "conformanceMarker";

}  // namespace

Listener::Listener(const std::vector<std::string>& topics) : bus_(eventbus_open())
{
    EXPECT_NE(bus_, nullptr);
    subscribe(kMarker);
    for (const std::string& topic : topics) {
        subscribe(topic);
    }
}

Listener::~Listener()
{
    eventbus_close(bus_);
}

void Listener::subscribe(const std::string& topic)
{
    contexts_.push_back(std::make_unique<Context>(Context{.listener = this, .topic = topic}));
    EXPECT_EQ(eventbus_subscribe(bus_, topic.c_str(), onEvent, contexts_.back().get()), 0);
}

void Listener::onEvent(void* context, const char* payload)
{
    const auto* own = static_cast<const Context*>(context);
    own->listener->waiting_.push_back(
        {.topic = own->topic, .payload = payload != nullptr ? std::optional<std::string>(payload) : std::nullopt});
}

std::optional<Event> Listener::next()
{
    while (waiting_.empty()) {
        if (!isReadable(fd(), kLongEnough) || eventbus_on_data_available(bus_) != 0) {
            return std::nullopt;
        }
    }
    Event event = std::move(waiting_.front());
    waiting_.pop_front();
    return event;
}

std::vector<Event> Listener::all()
{
    EXPECT_EQ(eventbus_publish(kMarker, nullptr), 0);
    std::vector<Event> events;
    while (true) {
        std::optional<Event> event = next();
        if (!event) {
            ADD_FAILURE() << "the marker does not come";
            return events;
        }
        if (event->topic == kMarker) {
            return events;
        }
        events.push_back(std::move(*event));
    }
}

ConformanceTest::ConformanceTest() : engine(makeEngineUnderTest())
{
    static int tests = 0;
    if (++tests > 1 && engine->needsFreshProcess()) {
        ADD_FAILURE()
            << "each test needs a process of its own: run the suite with ctest, or one test by --gtest_filter";
        std::exit(1);
    }
    engine->start();
}

void ConformanceTest::loseBus(const std::function<bool()>& use)
{
    if (busIsAway_) {
        engine->startBus();
    }
    EXPECT_TRUE(eventually(use));
    engine->killBus();
    busIsAway_ = true;
}

ChildProcess ConformanceTest::peer(std::vector<std::string> words)
{
    words.insert(words.begin(), CONFORMANCE_PEER);
    return ChildProcess(words);
}

std::optional<bool> StoreApi::boolean(const std::string& document) const
{
    int value = 99;
    if (queryBoolean(document.c_str(), &value) == 0) {
        EXPECT_EQ(value, 99) << "a failed query touched its result";
        return std::nullopt;
    }
    EXPECT_TRUE(value == 0 || value == 1) << value;
    return value != 0;
}

std::optional<int> StoreApi::integer(const std::string& document) const
{
    int value = -987'654;
    if (queryInt(document.c_str(), &value) == 0) {
        EXPECT_EQ(value, -987'654) << "a failed query touched its result";
        return std::nullopt;
    }
    return value;
}

std::optional<std::string> StoreApi::text(const std::string& document) const
{
    char* text = queryString(document.c_str());
    if (text == nullptr) {
        return std::nullopt;
    }
    std::string copy = text;
    std::free(text);
    return copy;
}

std::string StoreApi::tree(const std::string& document) const
{
    json_token* token = queryToken(document.c_str());
    if (token == nullptr) {
        return "absent";
    }
    char* text = json_token_to_string(token);
    std::string copy = text;
    std::free(text);
    json_token_ref_put(token);
    return copy;
}

std::ostream& operator<<(std::ostream& out, const StoreApi* store)
{
    return out << store->name;
}

const StoreApi kSettings{
    .name = "Settings",
    .queryBoolean = user_config_query_boolean,
    .queryInt = user_config_query_int,
    .queryString = user_config_query_string,
    .queryToken = user_config_query_to_json_token,
    .update = user_config_update,
    .topicSuffix = "UserConfigChanged",
};

const StoreApi kStatus{
    .name = "Status",
    .queryBoolean = user_status_query_boolean,
    .queryInt = user_status_query_int,
    .queryString = user_status_query_string,
    .queryToken = user_status_query_to_json_token,
    .update = user_status_update,
    .topicSuffix = "StatusConfigChanged",
};
