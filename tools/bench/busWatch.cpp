#include "bench/busWatch.h"

#include <cerrno>
#include <cstring>
#include <future>
#include <sys/eventfd.h>

#include "bench/limits.h"
#include "platform/local/local.h"
#include "support/failure.h"

namespace {

Happening::Kind kindOf(local::BusMessage::Kind kind)
{
    switch (kind) {
    case local::BusMessage::Kind::event: return Happening::Kind::event;
    case local::BusMessage::Kind::call: return Happening::Kind::call;
    case local::BusMessage::Kind::answer: return Happening::Kind::answer;
    case local::BusMessage::Kind::failure: break;
    }
    return Happening::Kind::failure;
}

/// Sets `started` to 0 once it watches, or to the errno of its failure.
void watch(Journal& journal, int stopFd, std::promise<int> started)
{
    bool watches = false;
    const auto ready = [&] {
        watches = true;
        started.set_value(0);
    };
    const auto tell = [&](const local::BusMessage& message) {
        const bool event = message.kind == local::BusMessage::Kind::event;
        journal.add({.kind = kindOf(message.kind),
                     .service = event ? std::string(message.from) : message.service,
                     .name = message.name,
                     .text = message.text,
                     .by = message.sender});
    };
    const int result = local::watchBus(stopFd, ready, tell);
    const int error = errno;
    if (!watches) {
        started.set_value(result == 0 ? ECANCELED : error);
    } else if (result != 0) {
        journal.add({.kind = Happening::Kind::note,
                     .service = "bus",
                     .text = std::string("is no longer watched: ") + std::strerror(error)});
    }
}

}  // namespace

BusWatch::BusWatch(Journal& journal) : stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    std::promise<int> started;
    std::future<int> outcome = started.get_future();
    thread_ = std::thread(watch, std::ref(journal), stop_.get(), std::move(started));
    const bool answered = outcome.wait_for(std::chrono::milliseconds(kStartTimeMs)) == std::future_status::ready;
    const int error = answered ? outcome.get() : ETIMEDOUT;
    if (error != 0) {
        eventfd_write(stop_.get(), 1);
        thread_.join();
        throw Refused(std::string("the bus cannot be watched: ") + std::strerror(error));
    }
}

BusWatch::~BusWatch()
{
    eventfd_write(stop_.get(), 1);
    thread_.join();
}
