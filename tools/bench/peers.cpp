#include "bench/peers.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <iterator>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

#include "bench/limits.h"
#include "platform/jsonToken.h"
#include "platform/local/local.h"
#include "platform/support/ownership.h"
#include "support/failure.h"

namespace {

constexpr const char* kServices[] = {"networkd", "systemd", "intermcud", "displayControl", "displayControlTelnetClient",
                                     "wpcmdd"};

/// An answer that begins with "fail" refuses the account. The system's own logins are taken.
std::string answerToNewUser(const std::string& entry)
{
    constexpr std::string_view kSystemLogins[] = {"root", "daemon", "nobody"};
    const JsonToken account(json_token_parse(entry.c_str()));
    const std::string_view name = json_token_object_walk_get_string(account.get(), "username", "");
    const bool taken = std::find(std::begin(kSystemLogins), std::end(kSystemLogins), name) != std::end(kSystemLogins);
    return taken ? "fail: a login of the system" : "ok";
}

/// What a peer is known to answer with data; every other call completes without any.
struct DataAnswer {
    const char* service;
    const char* method;
    std::string (*data)(const std::string& params);
};
constexpr DataAnswer kDataAnswers[] = {{"systemd", "sshAddUser", answerToNewUser}};

/// What the usual answer is in this case.
PeerAnswer decided(PeerAnswer answer, const std::string& service, const local::Request& request)
{
    if (answer.how == PeerAnswer::How::usual) {
        answer.how = PeerAnswer::How::completes;
        for (const DataAnswer& known : kDataAnswers) {
            if (service == known.service && request.method == known.method) {
                answer.how = PeerAnswer::How::answers;
                answer.data = known.data(request.params.value_or(""));
            }
        }
    }
    return answer;
}

}  // namespace

class Peer {
public:
    Peer(Peers& peers, std::string service) : peers_(peers), service_(std::move(service)), thread_([this] { serve(); })
    {
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() { thread_.join(); }

    void waitUntilReady()
    {
        auto ready = ready_.get_future();
        if (ready.wait_for(std::chrono::milliseconds(kStartTimeMs)) != std::future_status::ready) {
            throw Refused("the stand-in for " + service_ + " does not start");
        }
        if (const int error = ready.get()) {
            throw Refused("the stand-in for " + service_ + " does not start: " + std::strerror(error));
        }
    }

private:
    void serve()
    {
        bool started = false;
        const auto ready = [&] {
            started = true;
            ready_.set_value(0);
        };
        const auto answer = [this](const local::Request& request) { return answerTo(request); };
        const int result = local::serveMethods(service_, {}, peers_.stop_.get(), ready, answer);
        const int error = errno;
        if (!started) {
            ready_.set_value(result == 0 ? ECANCELED : error);
        } else if (result != 0) {
            peers_.journal_.add({.kind = Happening::Kind::note,
                                 .service = service_,
                                 .text = std::string("serves no longer: ") + std::strerror(error)});
        }
    }

    local::Answer answerTo(const local::Request& request)
    {
        const PeerAnswer given = decided(peers_.answerOf(service_, request.method), service_, request);
        peers_.journal_.add({.kind = Happening::Kind::peerCall,
                             .service = service_,
                             .name = request.method,
                             .text = request.params,
                             .answer = given});
        const bool silent = given.how == PeerAnswer::How::silent;
        if (given.delayMs > 0 || silent) {
            pollfd stopped{.fd = peers_.stop_.get(), .events = POLLIN, .revents = 0};
            poll(&stopped, 1, silent ? -1 : given.delayMs);
        }
        const bool answers = given.how == PeerAnswer::How::answers;
        return {.failed = !answers && given.how != PeerAnswer::How::completes,
                .data = answers ? std::optional(given.data) : std::nullopt};
    }

    Peers& peers_;
    std::string service_;
    std::promise<int> ready_;
    std::thread thread_;  // last: it uses the others
};

Peers::Peers(PeerPlan plan, Journal& journal)
    : plan_(std::move(plan)), journal_(journal), stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!stop_) {
        throw Refused(std::string("an eventfd cannot be made: ") + std::strerror(errno));
    }
    std::set<std::string> services(std::begin(kServices), std::end(kServices));
    for (const auto& [called, answer] : plan_.methods) {
        services.insert(called.first);
    }
    for (const std::string& service : plan_.absent) {
        services.erase(service);
    }
    try {
        for (const std::string& service : services) {
            peers_.push_back(std::make_unique<Peer>(*this, service));
        }
        for (const auto& peer : peers_) {
            peer->waitUntilReady();
        }
    } catch (...) {
        eventfd_write(stop_.get(), 1);
        throw;
    }
}

Peers::~Peers()
{
    eventfd_write(stop_.get(), 1);  // stays readable: all of them end
}

void Peers::answer(const std::string& service, const std::string& method, const PeerAnswer& answer)
{
    const std::lock_guard lock(mutex_);
    plan_.methods[{service, method}] = answer;
}

PeerAnswer Peers::answerOf(const std::string& service, const std::string& method)
{
    const std::lock_guard lock(mutex_);
    return plan_.answerOf(service, method);
}

std::vector<std::string> Peers::names()
{
    return {std::begin(kServices), std::end(kServices)};
}
