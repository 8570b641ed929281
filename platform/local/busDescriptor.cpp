#include "platform/local/busDescriptor.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>

namespace local {

namespace {

static_assert(POLLIN == EPOLLIN && POLLOUT == EPOLLOUT);  // what sd_bus_get_events() speaks is what epoll wants

bool control(const UniqueFd& epoll, int operation, int fd, std::uint32_t events)
{
    epoll_event event{.events = events, .data = {.fd = fd}};
    return epoll_ctl(epoll.get(), operation, fd, &event) == 0;
}

// Over after that time; a time of 0 means never.
void setTimer(const UniqueFd& timer, itimerspec time)
{
    timerfd_settime(timer.get(), 0, &time, nullptr);
}

}  // namespace

bool BusDescriptor::open()
{
    epoll_.reset(epoll_create1(EPOLL_CLOEXEC));
    waiting_.reset(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
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
        setTimer(waiting_, {.it_interval = {}, .it_value = {.tv_sec = 0, .tv_nsec = 1}});
    }
}

void BusDescriptor::raiseIn(int milliseconds)
{
    raised_ = true;
    setTimer(waiting_, {.it_interval = {},
                        .it_value = {.tv_sec = milliseconds / 1'000, .tv_nsec = milliseconds % 1'000 * 1'000'000L}});
}

void BusDescriptor::quieten()
{
    if (raised_.exchange(false)) {
        setTimer(waiting_, {});  // which also forgets that it was over (timerfd_create(2))
    }
}

}  // namespace local
