// Watching all that passes over the bus, by a connection that the bus daemon has made a monitor.
#include <cerrno>
#include <map>
#include <utility>

#include "platform/local/eventWire.h"
#include "platform/local/local.h"
#include "platform/local/lpcWire.h"

namespace local {

namespace {

int becomeMonitor(sd_bus* bus)
{
    return sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Monitoring",
                              "BecomeMonitor", nullptr, nullptr, "asu", 0, 0);
}

// A monitor may ask nothing itself: a second connection does.
class Senders {
public:
    explicit Senders(Connection bus) : bus_(std::move(bus)) {}

    [[nodiscard]] bool works() const { return bus_ != nullptr; }

    int processOf(const char* name)
    {
        if (name == nullptr) {
            return 0;
        }
        const auto known = known_.find(name);
        return known != known_.end() ? known->second : known_.emplace(name, ask(name)).first->second;
    }

private:
    int ask(const char* name)
    {
        sd_bus_creds* creds = nullptr;
        pid_t pid = 0;
        if (sd_bus_get_name_creds(bus_.get(), name, SD_BUS_CREDS_PID, &creds) >= 0) {
            sd_bus_creds_get_pid(creds, &pid);
        }
        sd_bus_creds_unref(creds);
        return pid;
    }

    Connection bus_;
    std::map<std::string, int> known_;  // a unique name is never given twice
};

class Observer {
public:
    explicit Observer(Senders senders) : senders_(std::move(senders)) {}

    [[nodiscard]] bool works() const { return senders_.works(); }

    /// True: something to tell of.
    bool take(sd_bus_message* message, BusMessage& seen)
    {
        return takeCall(message, seen) || takeEvent(message, seen) || takeAnswer(message, seen);
    }

private:
    struct OpenCall {
        int caller;
        std::string service;
        std::string method;
    };
    using Key = std::pair<std::string, std::uint64_t>;  // the caller and its number of the call

    bool takeCall(sd_bus_message* message, BusMessage& seen)
    {
        Call call;
        if (!peekCall(message, seen.service, call)) {
            return false;
        }
        seen.kind = BusMessage::Kind::call;
        seen.sender = senders_.processOf(sd_bus_message_get_sender(message));
        seen.name = call.method;
        seen.text = std::move(call.params);
        std::uint64_t number = 0;
        sd_bus_message_get_cookie(message, &number);
        open_[{sd_bus_message_get_sender(message), number}] = {seen.sender, seen.service, seen.name};
        return true;
    }

    bool takeEvent(sd_bus_message* message, BusMessage& seen)
    {
        ReceivedEvent event;
        if (sd_bus_message_is_signal(message, nullptr, nullptr) <= 0 || !local::takeEvent(message, event)) {
            return false;
        }
        seen.kind = BusMessage::Kind::event;
        seen.sender = senders_.processOf(sd_bus_message_get_sender(message));
        seen.name = event.topic;
        seen.text = std::move(event.payload);
        seen.from = originName(event.path);
        return true;
    }

    bool takeAnswer(sd_bus_message* message, BusMessage& seen)
    {
        std::uint64_t number = 0;
        const char* caller = sd_bus_message_get_destination(message);
        if (caller == nullptr || sd_bus_message_get_reply_cookie(message, &number) < 0) {
            return false;
        }
        const auto call = open_.find({caller, number});
        if (call == open_.end()) {
            return false;
        }
        seen.sender = call->second.caller;
        seen.service = std::move(call->second.service);
        seen.name = std::move(call->second.method);
        open_.erase(call);
        const sd_bus_error* error = sd_bus_message_get_error(message);
        seen.kind = error != nullptr ? BusMessage::Kind::failure : BusMessage::Kind::answer;
        if (error == nullptr) {
            return readText(message, seen.text);
        }
        seen.text = error->message != nullptr ? error->message : error->name;
        return true;
    }

    Senders senders_;
    std::map<Key, OpenCall> open_;
};

}  // namespace

int watchBus(int stopFd, const std::function<void()>& ready, const std::function<void(const BusMessage&)>& onMessage)
{
    Observer observer(Senders(openBus(stopFd)));
    if (!observer.works()) {
        return errno == ECANCELED ? 0 : -1;
    }
    const Connection bus = startBus(true);
    int result = bus ? awaitBus(bus.get(), monotonicUs() + kPatienceUs, stopFd) : -errno;
    if (result >= 0) {
        result = becomeMonitor(bus.get());
    }
    if (result < 0) {
        return result == -ECANCELED ? 0 : failWith(-result);
    }
    ready();
    while (true) {
        sd_bus_message* received = nullptr;
        result = sd_bus_process(bus.get(), &received);
        const Message message(received);
        if (result < 0 || (received != nullptr && isDisconnection(received))) {
            return failWith(ECONNRESET);
        }
        BusMessage seen;
        if (received != nullptr && observer.take(received, seen)) {
            onMessage(seen);
        }
        // Under a flood, too, a glance at stopFd after each message.
        if (waitForBus(bus.get(), result > 0 ? 0 : kForever, stopFd) < 0) {
            return errno == ECANCELED ? 0 : -1;
        }
    }
}

}  // namespace local
