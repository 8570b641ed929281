// Events: who gets them, in which order, and what happens without a bus.
#include <atomic>
#include <cerrno>
#include <thread>

#include "conformanceTest.h"

namespace {

class EventBus : public ConformanceTest {};

TEST_F(EventBus, PayloadsArriveAsTheyWere)
{
    Listener listener({"topic"});
    std::string everyByte;
    for (int byte = 1; byte < 256; ++byte) {
        everyByte += static_cast<char>(byte);
    }
    const std::vector<std::optional<std::string>> payloads = {std::nullopt,
                                                              "",
                                                              "text",
                                                              "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80",
                                                              "\xef\xbf\xbf",
                                                              "\xff",
                                                              "caf\xe9",
                                                              "\xed\xa0\x80",
                                                              "\xc0\x80",
                                                              "\xf4\x90\x80\x80",
                                                              "\xe2\x82",
                                                              everyByte,
                                                              std::string(200'000, 'x')};
    std::vector<Event> expected;
    for (const std::optional<std::string>& payload : payloads) {
        ASSERT_EQ(eventbus_publish("topic", payload ? payload->c_str() : nullptr), 0);
        expected.push_back({"topic", payload});
    }
    EXPECT_EQ(listener.all(), expected);
}

TEST_F(EventBus, TopicsHaveAGrammar)
{
    const std::string longest(200, 'a');
    Listener listener({longest, "_9"});
    for (const std::string& topic :
         {std::string(), std::string("9a"), std::string("a-b"), std::string("a.b"), std::string("a b"),
          std::string("\xc3\xa9"), std::string(201, 'a'), std::string("a\n")}) {
        errno = 0;
        EXPECT_NE(eventbus_publish(topic.c_str(), "x"), 0) << topic;
        EXPECT_NE(errno, 0) << topic;
        EXPECT_NE(eventbus_subscribe(
                      listener.bus(), topic.c_str(), [](void*, const char*) {}, nullptr),
                  0)
            << topic;
    }
    EXPECT_NE(eventbus_publish(nullptr, "x"), 0);
    ASSERT_EQ(eventbus_publish(longest.c_str(), "x"), 0);
    ASSERT_EQ(eventbus_publish("_9", "y"), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{longest, "x"}, {"_9", "y"}}));
}

TEST_F(EventBus, OnlySubscribedTopicsAreDelivered)
{
    Listener listener({"wanted"});
    for (const char* topic : {"wante", "wantedX", "Wanted", "unwanted", "wanted"}) {
        ASSERT_EQ(eventbus_publish(topic, topic), 0);
    }
    EXPECT_EQ(listener.all(), (std::vector<Event>{{"wanted", "wanted"}}));
}

TEST_F(EventBus, OneTopicMayHaveSeveralSubscriptions)
{
    Listener one({"topic", "topic"});
    Listener other({"topic"});
    ASSERT_EQ(eventbus_publish("topic", "x"), 0);
    EXPECT_EQ(other.all(), (std::vector<Event>{{"topic", "x"}}));
    EXPECT_EQ(one.all(), (std::vector<Event>{{"topic", "x"}, {"topic", "x"}}));
}

TEST_F(EventBus, TheOrderOfAPublisherIsKept)
{
    Listener listener({"a", "b"});
    ChildProcess publisher = peer({"publish", "b", "2000"});
    for (int i = 1; i <= 2000; ++i) {
        ASSERT_EQ(eventbus_publish("a", std::to_string(i).c_str()), 0);
    }
    int nextA = 1;
    int nextB = 1;
    while (nextA <= 2000 || nextB <= 2000) {
        const std::optional<Event> event = listener.next();
        ASSERT_TRUE(event.has_value());
        int& next = event->topic == "a" ? nextA : nextB;
        ASSERT_EQ(event->payload, std::to_string(next)) << event->topic;
        ++next;
    }
    EXPECT_EQ(publisher.wait(), 0);
}

TEST_F(EventBus, ASubscriptionIsInForceWhenItReturns)
{
    Listener listener({});
    for (int i = 0; i < 50; ++i) {
        const std::string topic = "topic" + std::to_string(i);
        listener.subscribe(topic);
        ChildProcess publisher = peer({"publish", topic, "1"});
        EXPECT_EQ(listener.next(), (Event{topic, "1"}));
        EXPECT_EQ(publisher.wait(), 0);
    }
}

// A caller that polls without time-out sees them all, also those that were read while an answer was awaited.
TEST_F(EventBus, EventsQueuedWhileSubscribingAreNotMissed)
{
    constexpr int kEvents = 3'000;
    Listener listener({"flood"});
    std::thread publisher([] {
        for (int i = 1; i <= kEvents; ++i) {
            EXPECT_EQ(eventbus_publish("flood", std::to_string(i).c_str()), 0);
        }
    });
    for (int i = 0; i < 300; ++i) {
        listener.subscribe("other" + std::to_string(i));
    }
    publisher.join();
    listener.subscribe("last");  // by now all of the flood is here, and is read ahead of the answer
    for (int i = 1; i <= kEvents; ++i) {
        ASSERT_EQ(listener.next(), (Event{"flood", std::to_string(i)}));
    }
}

TEST_F(EventBus, TheDescriptorIsQuietWhenNothingWaits)
{
    Listener listener({"topic"});
    EXPECT_EQ(listener.all(), std::vector<Event>{});
    const int fd = listener.fd();
    ASSERT_TRUE(eventually([&] {
        EXPECT_EQ(eventbus_on_data_available(listener.bus()), 0);
        return !isReadable(fd);
    }));
    ASSERT_EQ(eventbus_publish("topic", "x"), 0);
    EXPECT_TRUE(isReadable(fd, kLongEnough));
    EXPECT_EQ(listener.next(), (Event{"topic", "x"}));
    EXPECT_EQ(listener.fd(), fd);
}

TEST_F(EventBus, DeliveryWithoutAnEventDoesNotBlock)
{
    Listener listener({"topic"});
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(eventbus_on_data_available(listener.bus()), 0);
    }
}

TEST_F(EventBus, ACallbackMayPublishAndSubscribe)
{
    struct Context {
        eventbus* bus;
        std::vector<std::string> got;
    } context{.bus = eventbus_open(), .got = {}};
    ASSERT_NE(context.bus, nullptr);
    static constexpr auto onEcho = [](void* given, const char* payload) {
        static_cast<Context*>(given)->got.emplace_back(payload);
    };
    ASSERT_EQ(eventbus_subscribe(
                  context.bus, "question",
                  [](void* given, const char* payload) {
                      EXPECT_EQ(eventbus_subscribe(static_cast<Context*>(given)->bus, "echo", onEcho, given), 0);
                      EXPECT_EQ(eventbus_publish("echo", payload), 0);
                  },
                  &context),
              0);
    ASSERT_EQ(eventbus_publish("question", "x"), 0);
    while (context.got.empty() && isReadable(eventbus_fileno(context.bus), kLongEnough)) {
        ASSERT_EQ(eventbus_on_data_available(context.bus), 0);
    }
    EXPECT_EQ(context.got, std::vector<std::string>{"x"});
    eventbus_close(context.bus);
}

TEST_F(EventBus, APublisherDoesNotWaitForItsSubscribers)
{
    Listener sleeper({"topic"});  // never looks
    const std::string payload(1'000, 'x');
    for (int i = 0; i < 10'000; ++i) {
        ASSERT_EQ(eventbus_publish("topic", payload.c_str()), 0);
    }
}

TEST_F(EventBus, ClosingEndsASubscription)
{
    {
        Listener gone({"topic"});
    }
    Listener listener({"topic"});
    ASSERT_EQ(eventbus_publish("topic", "x"), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{"topic", "x"}}));
    eventbus_close(nullptr);
}

TEST_F(EventBus, ALostBusEndsDelivery)
{
    Listener listener({"topic"});
    ASSERT_EQ(listener.all(), std::vector<Event>{});
    engine->killBus();
    ASSERT_TRUE(isReadable(listener.fd(), kLongEnough));
    errno = 0;
    EXPECT_NE(eventbus_on_data_available(listener.bus()), 0);
    EXPECT_NE(errno, 0);
    EXPECT_NE(eventbus_on_data_available(listener.bus()), 0);
    EXPECT_TRUE(isReadable(listener.fd()));
    EXPECT_NE(eventbus_subscribe(
                  listener.bus(), "other", [](void*, const char*) {}, nullptr),
              0);
}

TEST_F(EventBus, WithoutABusPublishingFailsAtOnceUntilItIsBack)
{
    const auto publishInVain = [] {
        for (int i = 0; i < 100; ++i) {
            errno = 0;
            EXPECT_NE(eventbus_publish("topic", "lost"), 0);
            EXPECT_NE(errno, 0);
        }
        EXPECT_EQ(eventbus_open(), nullptr);
    };
    EXPECT_TRUE(isOnceDoneWithin(1.0, publishInVain,
                                 [&] { loseBus([] { return eventbus_publish("topic", "before") == 0; }); }));

    engine->startBus();
    Listener listener({"topic"});
    EXPECT_TRUE(eventually([] { return eventbus_publish("topic", "after") == 0; }));
    EXPECT_EQ(listener.all(), (std::vector<Event>{{"topic", "after"}}));
}

TEST_F(EventBus, ARestartedBusLosesNoPublication)
{
    ASSERT_EQ(eventbus_publish("topic", "before"), 0);
    engine->killBus();
    engine->startBus();
    Listener listener({"topic"});
    EXPECT_EQ(eventbus_publish("topic", "after"), 0);
    EXPECT_EQ(listener.all(), (std::vector<Event>{{"topic", "after"}}));
}

TEST_F(EventBus, AHungBusDoesNotHoldAPublisherForEver)
{
    ASSERT_EQ(eventbus_publish("topic", "before"), 0);
    engine->freezeBus();
    const std::string payload(100'000, 'x');
    int result = 0;
    double longest = 0;
    for (int i = 0; i < 1'000 && result == 0; ++i) {
        const Stopwatch watch;
        result = eventbus_publish("topic", payload.c_str());
        longest = std::max(longest, watch.seconds());
    }
    EXPECT_NE(result, 0);
    EXPECT_LT(longest, kNotForEver);
    EXPECT_TRUE(isOnceDoneWithin(0.5, [] { EXPECT_NE(eventbus_publish("topic", "at once"), 0); }));
    engine->thawBus();
    EXPECT_TRUE(eventually([] { return eventbus_publish("topic", "after") == 0; }));
}

TEST_F(EventBus, EveryThreadMayPublish)
{
    Listener listener({"topic"});
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            for (int n = 0; n < 50; ++n) {
                EXPECT_EQ(eventbus_publish("topic", "x"), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int n = 0; n < 8 * 50; ++n) {
        ASSERT_EQ(listener.next(), (Event{"topic", "x"}));
    }
}

}  // namespace
