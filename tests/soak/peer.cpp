#include "soak/peer.h"

#include <cerrno>
#include <future>
#include <stdexcept>
#include <string>
#include <sys/eventfd.h>
#include <system_error>

namespace {

// Runs `work`, which calls what it is given once it is ready and returns when `stop` is readable. Returns when it is
// ready; throws when it ends before.
std::thread startReady(const std::string& what, const std::function<int(const std::function<void()>& ready)>& work)
{
    std::promise<int> ready;
    std::future<int> outcome = ready.get_future();
    std::thread thread([work, ready = std::move(ready)]() mutable {
        bool told = false;
        const int result = work([&] {
            ready.set_value(0);
            told = true;
        });
        if (!told) {
            ready.set_value(result != 0 ? errno : ECANCELED);
        }
    });
    if (const int error = outcome.get(); error != 0) {
        thread.join();
        throw std::system_error(error, std::generic_category(), what);
    }
    return thread;
}

UniqueFd newStop()
{
    return UniqueFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
}

}  // namespace

void Peer::come()
{
    stop_ = newStop();
    thread_ = startReady(service_, [this](const std::function<void()>& ready) {
        return local::serveMethods(service_, {}, stop_.get(), ready, [this](const local::Request&) {
            ++calls_;
            return local::Answer{};
        });
    });
}

void Peer::leave()
{
    if (present()) {
        eventfd_write(stop_.get(), 1);
        thread_.join();
    }
}

Watcher::Watcher(const std::string& topic, std::function<void(const local::Event&)> onEvent) : stop_(newStop())
{
    thread_ = startReady(topic, [this, topic, onEvent = std::move(onEvent)](const std::function<void()>& ready) {
        return local::watchEvents({topic}, stop_.get(), ready, onEvent);
    });
}

Watcher::~Watcher()
{
    eventfd_write(stop_.get(), 1);
    thread_.join();
}
