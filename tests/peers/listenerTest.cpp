// The listener's life: what it subscribes, what ends it and what does not. Each test runs in a process of its own, for
// the listener's stop flag is for good.
#include "core/command.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <poll.h>
#include <thread>

#include <gtest/gtest.h>

#include "support/consoleRecord.h"
#include "support/outputFile.h"
#include "support/recordingPlatform.h"
#include "support/waiting.h"

using recording::Fault;

namespace {

constexpr const char* kTopics[] = {
    "controlUserConfigChanged",   "configUserConfigChanged",    "audioUserConfigChanged", "videoUserConfigChanged",
    "networkUserConfigChanged",   "systemUserConfigChanged",    "CommandFeedback",        "videoStatusConfigChanged",
    "systemStatusConfigChanged",  "controlStatusConfigChanged", "uartProjectorEvent",     "UpgradeSlaveVersionQuery",
    "networkStatusConfigChanged",
};

// What a failed subscription is told with; the tenth names the ninth's topic, the twelfth is not told.
constexpr const char* kMessages[] = {
    "eventbus_subscribe controlUserConfigChanged: Input/output error\n",
    "eventbus_subscribe configUserConfigChanged: Input/output error\n",
    "eventbus_subscribe audioUserConfigChanged: Input/output error\n",
    "eventbus_subscribe videoUserConfigChanged: Input/output error\n",
    "eventbus_subscribe networkUserConfigChanged: Input/output error\n",
    "eventbus_subscribe systemUserConfigChanged: Input/output error\n",
    "eventbus_subscribe CommandFeedback: Input/output error\n",
    "eventbus_subscribe videoStatusConfigChanged: Input/output error\n",
    "eventbus_subscribe systemStatusConfigChanged: Input/output error\n",
    "eventbus_subscribe systemStatusConfigChanged: Input/output error\n",
    "eventbus_subscribe uartProjectorEvent: Input/output error\n",
    "",
    "eventbus_subscribe networkStatusConfigChanged: Input/output error\n",
};

// The next results of poll(2) and what sleep(3) was asked for; see the link options.
std::atomic<int> g_pollFailures{0};
std::atomic<int> g_pollError{0};
std::atomic<int> g_polls{0};
std::atomic<int> g_sleptS{0};
std::function<void()> g_whileAsleep;

template <class Body>
void inAProcessOfItsOwn(Body body)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            body();
            std::fflush(nullptr);
            ::_exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

// Never destroyed: its thread does not end before the process does.
class Listener {
public:
    static Listener& start() { return *new Listener; }

    void waitUntilSubscribed() const
    {
        waitFor("thirteen subscriptions", [] { return recording::subscriptions().size() == std::size(kTopics); });
        waitFor("the first poll", [] { return g_polls > 0; });
    }
    void waitUntilEnded() const
    {
        waitFor("the end of the listener", [this] { return ended_.load(); });
    }
    [[nodiscard]] bool ended() const { return ended_; }
    ConsoleRecord& console() { return console_; }

private:
    Listener()
        : thread_([this] {
              doListenEventLoop(&console_.get());
              ended_ = true;
          })
    {
        thread_.detach();
    }

    ConsoleRecord console_;
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

struct Ended {
    std::string printed;
    std::size_t subscribed;
};

// A listener that ends by itself.
Ended runToItsEnd(ConsoleRecord& console)
{
    const OutputFile output;
    const std::size_t before = recording::subscriptions().size();
    {
        const CapturedOutput captured(output);
        EXPECT_EQ(doListenEventLoop(&console.get()), nullptr);
    }
    return {output.from(0), recording::subscriptions().size() - before};
}

// The record's mutex is free.
bool canLock(ConsoleParameter& record)
{
    const RecordLock lock(record.mutex);
    return true;
}

}  // namespace

extern "C" {
int __real_poll(pollfd* descriptors, nfds_t count, int timeoutMs);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeoutMs);
unsigned __wrap_sleep(unsigned seconds);
}

// Only the listener waits without a time-out.
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeoutMs)
{
    if (timeoutMs < 0) {
        ++g_polls;
        if (g_pollFailures > 0) {
            --g_pollFailures;
            errno = g_pollError;
            return -1;
        }
    }
    return __real_poll(descriptors, count, timeoutMs);
}

unsigned __wrap_sleep(unsigned seconds)
{
    g_sleptS = static_cast<int>(seconds);
    if (g_whileAsleep) {
        g_whileAsleep();
    }
    return 0;
}

TEST(Listener, subscribesThirteenTopicsInTheirOrderEachWithItsContext)
{
    inAProcessOfItsOwn([] {
        Listener& listener = Listener::start();
        listener.waitUntilSubscribed();
        EXPECT_EQ(recording::subscriptions(), std::vector<std::string>(std::begin(kTopics), std::end(kTopics)));
        const std::vector<void*> contexts = recording::subscriptionContexts();
        const char* const texts[] = {"control", "config", "audio",   "video",         "network", nullptr, nullptr,
                                     nullptr,   "system", "control", "uartProjector", "",        nullptr};
        ASSERT_EQ(contexts.size(), std::size(texts));
        for (std::size_t i = 0; i < contexts.size(); ++i) {
            if (texts[i] != nullptr) {
                EXPECT_STREQ(static_cast<const char*>(contexts[i]), texts[i]) << kTopics[i];
            } else {
                EXPECT_EQ(contexts[i], &listener.console().get()) << kTopics[i];
            }
        }
    });
}

TEST(Listener, endsAtOnceWhenASubscriptionFailsAndLeavesTheConnectionOpen)
{
    static_assert(std::size(kTopics) == std::size(kMessages));
    inAProcessOfItsOwn([] {
        ConsoleRecord console;
        for (std::size_t failing = 0; failing < std::size(kTopics); ++failing) {
            recording::reset();
            recording::fail(Fault::subscribe, 1, EIO, static_cast<int>(failing));
            const Ended run = runToItsEnd(console);
            EXPECT_EQ(run.printed, kMessages[failing]);
            EXPECT_EQ(run.subscribed, failing) << kTopics[failing];
            EXPECT_TRUE(canLock(console.get()));
            // Who is still connected gets events that nobody takes.
            if (failing > 0) {
                recording::deliver(kTopics[0], "{}");
                EXPECT_FALSE(recording::waitUntilDelivered(std::chrono::milliseconds(1))) << kTopics[failing];
            }
        }
        EXPECT_EQ(g_polls, 0);
    });
}

TEST(Listener, mayBeStartedAgainAfterAFailedSubscription)
{
    inAProcessOfItsOwn([] {
        {
            ConsoleRecord console;
            recording::fail(Fault::subscribe, 1);
            runToItsEnd(console);
        }
        Listener& listener = Listener::start();
        listener.waitUntilSubscribed();
        recording::deliver("uartProjectorEvent", "PWR");
        waitFor("the projector text", [&] { return listener.console().takeReplies() == "PWR"; });
        EXPECT_FALSE(listener.ended());
    });
}

TEST(Listener, endsForGoodWhenTheBusCannotBeOpened)
{
    inAProcessOfItsOwn([] {
        ConsoleRecord console;
        recording::fail(Fault::busOpen, 1, ECONNREFUSED);
        const Ended refused = runToItsEnd(console);
        EXPECT_EQ(refused.printed, "[doListenEventLoop]eventbus_open: Connection refused\n");
        EXPECT_EQ(refused.subscribed, 0U);
        // The stop flag stands: another one subscribes, waits for nothing and closes its connection.
        const Ended stopped = runToItsEnd(console);
        EXPECT_EQ(stopped.printed, "");
        EXPECT_EQ(stopped.subscribed, std::size(kTopics));
        EXPECT_EQ(g_polls, 0);
        recording::deliver(kTopics[0], "{}");
        EXPECT_TRUE(recording::waitUntilDelivered(std::chrono::milliseconds(1)));
    });
}

TEST(Listener, endsForGoodWhenADeliveryFails)
{
    inAProcessOfItsOwn([] {
        const OutputFile output;
        Listener& listener = Listener::start();
        listener.waitUntilSubscribed();
        {
            const CapturedOutput captured(output);
            recording::fail(Fault::delivery, 1, ECONNRESET);
            recording::deliver("uartProjectorEvent", "PWR");
            listener.waitUntilEnded();
        }
        EXPECT_EQ(output.from(0), "eventbus_on_data_available: Connection reset by peer\n");
        EXPECT_EQ(listener.console().takeReplies(), "");
        EXPECT_TRUE(canLock(listener.console().get()));
        g_polls = 0;
        const Ended stopped = runToItsEnd(listener.console());
        EXPECT_EQ(stopped.printed, "");
        EXPECT_EQ(g_polls, 0);
        recording::deliver(kTopics[0], "{}");
        EXPECT_TRUE(recording::waitUntilDelivered(std::chrono::milliseconds(1)));
    });
}

TEST(Listener, endsForGoodWhenAPollFails)
{
    inAProcessOfItsOwn([] {
        ConsoleRecord console;
        g_pollError = ENOMEM;
        g_pollFailures = 1;
        const Ended run = runToItsEnd(console);
        EXPECT_EQ(run.printed, "poll: Cannot allocate memory\n");
        EXPECT_TRUE(canLock(console.get()));
        const Ended stopped = runToItsEnd(console);
        EXPECT_EQ(stopped.printed, "");
        EXPECT_EQ(g_polls, 1);
    });
}

TEST(Listener, goesOnAfterAnInterruptedPoll)
{
    inAProcessOfItsOwn([] {
        const OutputFile output;
        const CapturedOutput captured(output);
        g_pollError = EINTR;
        g_pollFailures = 5;
        Listener& listener = Listener::start();
        listener.waitUntilSubscribed();
        recording::deliver("uartProjectorEvent", "PWR");
        waitFor("the projector text", [&] { return listener.console().takeReplies() == "PWR"; });
        EXPECT_EQ(g_pollFailures, 0);
        EXPECT_EQ(output.from(0), "");
    });
}

TEST(Listener, goesOnAfterPayloadsThatNoHandlerCanRead)
{
    inAProcessOfItsOwn([] {
        const OutputFile output;
        const CapturedOutput captured(output);
        Listener& listener = Listener::start();
        listener.waitUntilSubscribed();
        for (const char* topic : kTopics) {
            recording::deliver(topic, "nonsense");
            recording::deliver(topic, "");
            recording::deliver(topic, std::nullopt);
        }
        recording::deliver("uartProjectorEvent", ".");
        waitFor("the last projector text", [&] { return listener.console().takeReplies().ends_with('.'); });
        EXPECT_FALSE(listener.ended());
    });
}

TEST(Listener, holdsTheRecordDuringADelivery)
{
    for (const int role : {kExternalConsole, kInternalHdbtLink}) {
        inAProcessOfItsOwn([role] {
            const OutputFile output;
            const CapturedOutput captured(output);
            Listener& listener = Listener::start();
            listener.console().get().sourceType = role;
            std::atomic<bool> locked{false};
            std::thread other;
            g_whileAsleep = [&] {
                other = std::thread([&] { locked = canLock(listener.console().get()); });
                // Nothing to wait for: had the lock been free, this is when it would have been taken.
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                EXPECT_FALSE(locked);
                const recording::Record record = recording::take();
                ASSERT_EQ(record.events.size(), 1U);
                EXPECT_EQ(record.events[0].topic, "UpgradeSlaveVersionQuery");
                EXPECT_EQ(record.events[0].payload, "Sys Reboot\r");
                EXPECT_TRUE(record.runs.empty());
            };
            listener.waitUntilSubscribed();
            recording::deliver("UpgradeSlaveVersionQuery", "Web Reboot\r");
            waitFor("the lock", [&] { return locked.load(); });
            other.join();
            EXPECT_EQ(g_sleptS, 3);
            EXPECT_EQ(recording::take().runs, std::vector<std::string>{"reboot"});
        });
    }
}
