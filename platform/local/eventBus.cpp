#include "platform/eventBus.h"

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "platform/local/busDescriptor.h"
#include "platform/local/eventWire.h"

namespace local {

namespace {

// Events handed over in one call, so that a flood does not hold the locks of its caller for ever.
constexpr int kBatch = 64;

struct Subscription {
    std::string topic;
    eventbus_callback callback;
    void* context;
};

}  // namespace

}  // namespace local

struct eventbus {
    local::BusDescriptor descriptor;
    local::Connection connection;
    std::vector<local::Subscription> subscriptions;

    // What the connection was lost for is told by every further call; the descriptor stays readable.
    int lose(int error)
    {
        descriptor.detach();
        connection.reset();
        descriptor.raise();
        return local::failWith(error);
    }

    void deliver(const local::ReceivedEvent& event) const
    {
        // NOLINTNEXTLINE(modernize-loop-convert): a callback may subscribe
        for (std::size_t i = 0; i < subscriptions.size(); ++i) {
            const local::Subscription subscription = subscriptions[i];
            if (subscription.topic == event.topic) {
                subscription.callback(subscription.context, event.payload ? event.payload->c_str() : nullptr);
            }
        }
    }
};

eventbus* eventbus_open(void)
{
    auto bus = std::make_unique<eventbus>();
    bus->connection = local::openBus();
    if (!bus->connection || !bus->descriptor.open() || !bus->descriptor.attach(bus->connection.get())) {
        return nullptr;
    }
    return bus.release();
}

int eventbus_subscribe(eventbus* bus, const char* topic, eventbus_callback callback, void* context)
{
    if (bus == nullptr || topic == nullptr || !local::isTopic(topic) || callback == nullptr) {
        return local::failWith(EINVAL);
    }
    if (!bus->connection) {
        return local::failWith(ECONNRESET);
    }
    const int result = local::matchEvents(bus->connection.get(), topic);
    bus->descriptor.update();  // waiting for the answer may have read events ahead
    if (result < 0) {
        return local::failWith(-result);
    }
    bus->subscriptions.push_back({.topic = topic, .callback = callback, .context = context});
    return 0;
}

int eventbus_fileno(eventbus* bus)
{
    return bus != nullptr ? bus->descriptor.fd() : local::failWith(EINVAL);
}

int eventbus_on_data_available(eventbus* bus)
{
    if (bus == nullptr) {
        return local::failWith(EINVAL);
    }
    for (int count = 0; count < local::kBatch; ++count) {
        if (!bus->connection) {
            return local::failWith(ECONNRESET);
        }
        sd_bus_message* received = nullptr;
        const int result = sd_bus_process(bus->connection.get(), &received);
        const local::Message message(received);
        if (result < 0 || (received != nullptr && local::isDisconnection(received))) {
            return bus->lose(ECONNRESET);
        }
        if (result == 0) {
            break;
        }
        local::ReceivedEvent event;
        if (received != nullptr && local::takeEvent(received, event)) {
            bus->deliver(event);
        }
    }
    bus->descriptor.update();
    return 0;
}

void eventbus_close(eventbus* bus)
{
    if (bus != nullptr) {
        bus->descriptor.detach();
        const std::unique_ptr<eventbus> owned(bus);
    }
}
