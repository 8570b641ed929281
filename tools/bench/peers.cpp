#include "bench/peers.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <iterator>
#include <string_view>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

#include "bench/limits.h"
#include "bench/notes.h"
#include "platform/jsonToken.h"
#include "platform/local/local.h"
#include "platform/support/ownership.h"
#include "support/failure.h"
#include "support/jsonText.h"

namespace {

/// What a peer is known to answer with data; every other call completes without any.
struct DataAnswer {
    const char* method;
    std::string (*data)(const std::string& params);
};

/// An answer that begins with "fail" refuses the account. The system's own logins are taken.
std::string answerToNewUser(const std::string& entry)
{
    constexpr std::string_view kSystemLogins[] = {"root", "daemon", "nobody"};
    const JsonToken account(json_token_parse(entry.c_str()));
    const std::string_view name = json_token_object_walk_get_string(account.get(), "username", "");
    const bool taken = std::find(std::begin(kSystemLogins), std::end(kSystemLogins), name) != std::end(kSystemLogins);
    return taken ? "fail: a login of the system" : "ok";
}

struct PeerRole {
    const char* service;
    std::vector<DataAnswer> answers;
};

const std::vector<PeerRole>& roles()
{
    static const std::vector<PeerRole> list = {
        {"networkd", {}},
        {"systemd", {{"sshAddUser", answerToNewUser}}},
        {"intermcud", {}},
        {"displayControl", {}},
        {"displayControlTelnetClient", {}},
        {"wpcmdd", {}},
    };
    return list;
}

}  // namespace

class Peer {
public:
    Peer(const PeerRole& role, int stopFd) : role_(role), thread_([this, stopFd] { serve(stopFd); }) {}
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() { thread_.join(); }

    void waitUntilReady()
    {
        auto ready = ready_.get_future();
        if (ready.wait_for(std::chrono::milliseconds(kStartTimeMs)) != std::future_status::ready) {
            throw Refused(std::string("the stand-in for ") + role_.service + " does not start");
        }
        if (const int error = ready.get()) {
            throw Refused(std::string("the stand-in for ") + role_.service +
                          " does not start: " + std::strerror(error));
        }
    }

private:
    void serve(int stopFd)
    {
        bool started = false;
        const auto ready = [&] {
            started = true;
            ready_.set_value(0);
        };
        const auto answer = [this](const local::Request& request) { return answerTo(request); };
        const int result = local::serveMethods(role_.service, {}, stopFd, ready, answer);
        const int error = errno;
        if (!started) {
            ready_.set_value(result == 0 ? ECANCELED : error);
        } else if (result != 0) {
            noteFrom(role_.service, std::string("serves no longer: ") + std::strerror(error));
        }
    }

    local::Answer answerTo(const local::Request& request) const
    {
        noteFrom(role_.service,
                 request.method + (request.params ? " " + printableJson(jsonString(*request.params)) : ""));
        for (const DataAnswer& known : role_.answers) {
            if (request.method == known.method) {
                return {.failed = false, .data = known.data(request.params.value_or(""))};
            }
        }
        return {};
    }

    const PeerRole& role_;
    std::promise<int> ready_;
    std::thread thread_;  // last: it uses the others
};

Peers::Peers() : stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!stop_) {
        throw Refused(std::string("an eventfd cannot be made: ") + std::strerror(errno));
    }
    try {
        for (const PeerRole& role : roles()) {
            peers_.push_back(std::make_unique<Peer>(role, stop_.get()));
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

std::vector<std::string> Peers::names()
{
    std::vector<std::string> list;
    for (const PeerRole& role : roles()) {
        list.emplace_back(role.service);
    }
    return list;
}
