#include "platform/local/busDescriptor.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

namespace local {

namespace {

static_assert(POLLIN == EPOLLIN && POLLOUT == EPOLLOUT);  // what sd_bus_get_events() speaks is what epoll wants

bool control(const UniqueFd& epoll, int operation, int fd, std::uint32_t events)
{
    epoll_event event{.events = events, .data = {.fd = fd}};
    return epoll_ctl(epoll.get(), operation, fd, &event) == 0;
}

}  // namespace

bool BusDescriptor::open()
{
    epoll_.reset(epoll_create1(EPOLL_CLOEXEC));
    waiting_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return epoll_ && waiting_ && control(epoll_, EPOLL_CTL_ADD, waiting_.get(), EPOLLIN);
}

bool BusDescriptor::attach(sd_bus* bus)
{
    bus_ = bus;
    busFd_ = sd_bus_get_fd(bus);
    busEvents_ = EPOLLIN;
    if (busFd_ < 0 || !control(epoll_, EPOLL_CTL_ADD, busFd_, busEvents_)) {
        bus_ = nullptr;
        busFd_ = -1;
        return false;
    }
    update();
    return true;
}

void BusDescriptor::detach()
{
    if (busFd_ >= 0) {
        control(epoll_, EPOLL_CTL_DEL, busFd_, 0);
    }
    bus_ = nullptr;
    busFd_ = -1;
}

void BusDescriptor::update()
{
    if (bus_ == nullptr) {
        return;
    }
    const int events = sd_bus_get_events(bus_);
    std::uint64_t queued = 0;
    sd_bus_get_n_queued_read(bus_, &queued);
    if (events < 0 || queued > 0) {
        raise();
    } else {
        quieten();
    }
    if (events >= 0 && static_cast<std::uint32_t>(events) != busEvents_) {
        busEvents_ = static_cast<std::uint32_t>(events);
        control(epoll_, EPOLL_CTL_MOD, busFd_, busEvents_);
    }
}

void BusDescriptor::raise()
{
    if (!raised_.exchange(true)) {
        eventfd_write(waiting_.get(), 1);
    }
}

void BusDescriptor::quieten()
{
    if (raised_.exchange(false)) {
        eventfd_t value = 0;
        eventfd_read(waiting_.get(), &value);
    }
}

}  // namespace local
