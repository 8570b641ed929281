// Events into the listener's 13 handlers. The first byte is the role, then come instructions (daemonUnderTest.h) and
// events: a letter, 'a' for the first subscription to 'm' for the last, and the payload up to a zero byte. A capital
// letter sends no payload at all.
#include <cstdint>
#include <string>
#include <vector>

#include "console/commandEntry.h"
#include "core/command.h"
#include "fuzz/daemonUnderTest.h"
#include "fuzz/pretendSystem.h"
#include "fuzz/require.h"
#include "platform/eventBus.h"

namespace {

constexpr std::size_t kTopics = 13;
constexpr std::size_t kMostEvents = 4;  // in one input: a short one is run sooner

struct Subscription {
    std::string topic;
    eventbus_callback handler;
    void* context;
};

std::vector<Subscription>& subscriptions()
{
    static auto& instance = *new std::vector<Subscription>;
    return instance;
}

// The listener subscribes and ends at its first poll().
void learnSubscriptions(DaemonUnderTest& daemon)
{
    if (subscriptions().empty()) {
        const pretend::DaemonScope scope;
        doListenEventLoop(&daemon.record());
        require(subscriptions().size() == kTopics, "the listener subscribes 13 topics");
        daemon.check();
    }
}

// What the change broadcast prints begins with a command's name.
bool isBroadcast(std::string_view reply)
{
    if (reply.empty() || reply.starts_with("Lock\r\n") || reply.starts_with("Unlock\r\n")) {
        return true;
    }
    for (const CommandEntry& row : kCommandTable) {
        if (reply.starts_with(row.name)) {
            return true;
        }
    }
    return false;
}

void deliver(const Subscription& subscription, const char* payload)
{
    DaemonUnderTest& daemon = DaemonUnderTest::instance();
    const bool sound = daemon.lineIsSound();
    pretend::takeReplies();
    {
        const pretend::DaemonScope scope;
        const RecordLock lock(daemon.record().mutex);
        subscription.handler(subscription.context, payload);
    }
    const std::string reply = pretend::takeReplies();
    daemon.check();
    if (!sound) {
        return;
    }
    if (subscription.topic == "uartProjectorEvent") {
        require(reply == (payload != nullptr ? payload : ""), "projector text passes as it is", reply);
    } else if (subscription.topic.ends_with("UserConfigChanged")) {
        require(isBroadcast(reply), "a broadcast begins with a command's name", reply);
    } else if (subscription.topic != "videoStatusConfigChanged" && subscription.topic != "systemStatusConfigChanged") {
        require(reply.empty(), "other events print nothing", reply);
    }
}

}  // namespace

int __wrap_eventbus_subscribe(eventbus* bus, const char* topic, eventbus_callback callback,
                              void* context) asm("__wrap_eventbus_subscribe");

int __wrap_eventbus_subscribe(eventbus* /*bus*/, const char* topic, eventbus_callback callback, void* context)
{
    subscriptions().push_back({topic, callback, context});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    DaemonUnderTest& daemon = DaemonUnderTest::instance();
    ByteReader input(bytes, size);
    daemon.takeRole(input.next());
    learnSubscriptions(daemon);
    for (std::size_t count = 0; count < kMostEvents && !input.empty(); ++count) {
        daemon.instructAll(input);
        const char letter = input.next();
        const bool absent = letter >= 'A' && letter <= 'M';
        const Subscription& subscription =
            subscriptions()[static_cast<unsigned char>(letter - (absent ? 'A' : 'a')) % kTopics];
        const std::string payload = absent ? std::string() : input.text();
        deliver(subscription, absent ? nullptr : payload.c_str());
    }
    const int success = wpIsSuccess.load();
    require(success == 0 || success == 1, "the identify status is kept as 0 or 1");
    daemon.heal();
    daemon.takeRole('e');  // opens the line again where an event could not
    daemon.finish();
    return 0;
}
