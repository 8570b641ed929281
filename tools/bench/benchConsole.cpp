#include "bench/benchConsole.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <unistd.h>

#include "bench/limits.h"
#include "bench/stores.h"
#include "platform/eventBus.h"
#include "platform/lpc.h"

using transcript::Given;
using transcript::Observed;
using transcript::Step;

namespace {

const char* orNull(const transcript::Text& text)
{
    return text ? text->c_str() : nullptr;
}

local::Store engineStore(transcript::Store store)
{
    return store == transcript::Store::settings ? local::Store::settings : local::Store::status;
}

PeerAnswer answerOf(const transcript::GivenPeer& peer)
{
    using From = transcript::GivenPeer::Answer;
    using To = PeerAnswer::How;
    switch (peer.answer) {
    case From::answers: return {.how = To::answers, .data = peer.text};
    case From::fails: return {.how = To::fails};
    case From::silent: return {.how = To::silent};
    case From::absent:
    case From::completes: break;
    }
    return {.how = To::completes};
}

}  // namespace

void BenchConsole::see(const Happening& happening)
{
    using Kind = Happening::Kind;
    switch (happening.kind) {
    case Kind::printed: seen_.replies += happening.text.value_or(""); break;
    case Kind::command: seen_.runs.push_back(happening.text.value_or("")); break;
    case Kind::peerCall: seen_.calls.push_back({happening.service, happening.name, happening.text}); break;
    case Kind::event:
        if (Receiver::isMark(happening)) {
            lastMark_ = happening.text.value_or("");
        } else if (isForeign(happening)) {
            foreign_.push_back(happening);
        } else {
            seen_.events.push_back({happening.service, happening.name, happening.text});
        }
        break;
    case Kind::call:
        if (isForeign(happening) && happening.service == receiver_.consoleRole().service) {
            foreign_.push_back(happening);
        }
        break;
    default: break;
    }
}

bool BenchConsole::isForeign(const Happening& happening) const
{
    return keepsForeign_ && happening.by != receiver_.consoleProcess() && happening.by != getpid();
}

void BenchConsole::give(const Given& given)
{
    std::visit([this](const auto& item) { this->apply(item); }, given);
}

void BenchConsole::apply(const transcript::GivenLeaf& leaf)
{
    putSilently(engineStore(leaf.store), leaf.path, leaf.json);
}

void BenchConsole::apply(const transcript::GivenFactory& item)
{
    putFactoryItem(item.key, item.text);
}

void BenchConsole::apply(const transcript::GivenPeer& peer)
{
    const PeerAnswer answer = answerOf(peer);
    if (started_) {
        receiver_.peers().answer(peer.service, peer.method, answer);
        return;
    }
    peers_.methods[{peer.service, peer.method}] = answer;
    if (peer.answer == transcript::GivenPeer::Answer::absent) {
        peers_.absent.insert(peer.service);
    }
}

void BenchConsole::apply(const transcript::GivenRunStatus& run)
{
    receiver_.standIns().setExitStatus(run.status);
}

void BenchConsole::apply(const transcript::GivenLog& /*log*/)
{
    throw std::runtime_error("log levels are switched in the tests' platform in memory alone");
}

void BenchConsole::apply(const transcript::GivenFault& /*fault*/)
{
    throw std::runtime_error("faults of the platform can be had in the tests' platform in memory alone");
}

void BenchConsole::start()
{
    started_ = true;
    passLoop();
    pass();
    seen_ = {};
    foreign_.clear();
}

Observed BenchConsole::perform(const Step& step)
{
    Place place{.logStart = logSize()};
    place.extraBurst = carryOut(step);
    pass();
    return take(step, place);
}

Observed BenchConsole::collect(const Step& step)
{
    const Place place{.logStart = logSize()};
    awaitAllRead();
    pass();
    return take(step, place);
}

transcript::Text BenchConsole::read(transcript::Store store, const std::string& path)
{
    return readJson(engineStore(store), path);
}

bool BenchConsole::becomesTrueWithin(std::chrono::milliseconds patience, const Condition& condition)
{
    const auto most = patience.count() == 0 ? kCommandTimeMs : static_cast<int>(patience.count());
    return receiver_.attendUntil(condition, most);
}

void BenchConsole::awaitAllRead()
{
    const auto allRead = [this] { return !receiver_.typedIsWaiting(); };
    while (!receiver_.attendUntil(allRead, kPortTimeMs)) {
        receiver_.checkConsolePort();
    }
}

// The loop may be in a command that takes seconds.
void BenchConsole::passLoop()
{
    await("the loop", [this] { return receiver_.passLoop(); });
}

void BenchConsole::passListener()
{
    const std::size_t start = logSize();
    const std::string mark = receiver_.publishMark();
    await("the listener", [&] { return receiver_.consoleLog().holds(mark, start); });
    await("the bus", [&] { return lastMark_ == mark; });
}

void BenchConsole::pass()
{
    passLoop();
    passListener();
    passListener();  // what the listener published came back to it
    passLoop();
    receiver_.attend(0);
}

bool BenchConsole::carryOut(const Step& step)
{
    const char* service = receiver_.consoleRole().service;
    switch (step.kind) {
    case Step::Kind::type: return typeAndSettle(step.bytes);
    case Step::Kind::lpc:
        // A command that takes longer than a caller waits is carried out all the same.
        if (lpc_proxy_call(service, step.name.c_str(), orNull(step.text)) != 0 && errno != ETIMEDOUT) {
            throw std::runtime_error("the method " + step.name + " failed: " + std::strerror(errno));
        }
        break;
    case Step::Kind::publish:
        if (eventbus_publish(step.name.c_str(), orNull(step.text)) != 0) {
            throw std::runtime_error("the event " + step.name + " cannot be published: " + std::strerror(errno));
        }
        break;
    }
    return false;
}

Observed BenchConsole::take(const Step& step, Place place)
{
    Observed seen = std::exchange(seen_, {});
    seen.printed = logFrom(place.logStart);
    if (step.kind == Step::Kind::publish) {
        const auto own = std::find_if(seen.events.begin(), seen.events.end(), [&](const transcript::Event& event) {
            return event.topic == step.name && event.payload == step.text;
        });
        if (own != seen.events.end()) {
            seen.events.erase(own);
        }
    }
    if (place.extraBurst) {
        std::erase_if(seen.events, transcript::isBurstOfReturns);
    }
    return seen;
}
