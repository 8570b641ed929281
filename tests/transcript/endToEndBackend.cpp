#include "transcript/endToEndBackend.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "endToEnd/testDevice.h"
#include "platform/eventBus.h"
#include "platform/lpc.h"
#include "support/waiting.h"
#include "transcript/lineConsole.h"

namespace transcript {

namespace {

// The listener prints this topic's payload before it finds that it is no JSON; nothing else comes of it.
constexpr char kMarkerTopic[] = "networkStatusConfigChanged";

local::Store engineStore(Store store)
{
    return store == Store::settings ? local::Store::settings : local::Store::status;
}

TestDevice::PeerAnswer peerAnswer(const GivenPeer& peer)
{
    TestDevice::PeerAnswer answer;
    answer.absent = peer.answer == GivenPeer::Answer::absent;
    answer.silent = peer.answer == GivenPeer::Answer::silent;
    answer.fails = peer.answer == GivenPeer::Answer::fails;
    if (peer.answer == GivenPeer::Answer::answers) {
        answer.data = peer.text;
    }
    return answer;
}

class EndToEndBackend : public LineConsole {
public:
    explicit EndToEndBackend(bool internalRole) : LineConsole(internalRole) {}

    void give(const Given& given) override
    {
        std::visit([this](const auto& item) { this->apply(item); }, given);
    }

    void start() override
    {
        device_.startPeers();
        daemon_ = device_.startDaemon(internalRole() ? "internalComd" : "externalComd", {line().device()}, log());
        telling([this] {
            passLoop();
            passStartingListener();
            passListener();
            passLoop();
        });
        line().takeOutput();
        device_.takeEvents();
        device_.takeCalls();
        device_.standIns().takeCommands();
    }

    Observed perform(const Step& step) override
    {
        const std::size_t logStart = log().size();
        bool extraBurst = false;
        telling([&] {
            extraBurst = carryOut(step);
            passLoop();
            passListener();
            passListener();  // what the listener published came back to it
            passLoop();
        });
        return collect(step, logStart, extraBurst);
    }

    Text read(Store store, const std::string& path) override { return TestDevice::read(engineStore(store), path); }

protected:
    // A method that does nothing. The loop may be in a command that takes seconds.
    void passLoop() override
    {
        waitFor("the loop", [this] {
            stopIfEnded();
            return (internalRole() ? lpc_proxy_call(service(), "HDBTRS232Set", nullptr)
                                   : lpc_proxy_call(service(), "wpDispBtn", "RS232zone")) == 0;
        });
    }

    void passListener() override
    {
        const std::string marker = publishMarker();
        waitFor("the listener", [&] {
            stopIfEnded();
            return log().holds(marker, markerStart_);
        });
        device_.waitForEvent(kMarkerTopic, marker);
    }

private:
    void apply(const GivenLeaf& leaf) { device_.put(engineStore(leaf.store), leaf.path, leaf.json); }
    void apply(const GivenFactory& item) { device_.putFactoryData(item.key, item.text); }
    void apply(const GivenPeer& peer) { device_.setPeer(peer.service, peer.method, peerAnswer(peer)); }
    void apply(const GivenRunStatus& run) { device_.standIns().setExitStatus(run.status); }
    static void apply(const GivenLog& /*log*/) { throw std::logic_error("log levels need the platform in memory"); }
    static void apply(const GivenFault& /*fault*/) { throw std::logic_error("faults need the platform in memory"); }

    [[nodiscard]] const char* service() const { return internalRole() ? "lpcExampledNoUse2" : "lpcExampledNoUse"; }

    // Adds the daemon's last words to a failure.
    template <class Work>
    void telling(Work work)
    {
        try {
            work();
        } catch (const std::exception& error) {
            constexpr std::size_t kLastWords = 6'000;
            const std::size_t size = log().size();
            throw std::runtime_error(std::string(error.what()) + "; the daemon's output ended with:\n" +
                                     log().from(size > kLastWords ? size - kLastWords : 0));
        }
    }

    void stopIfEnded()
    {
        if (!daemon_->running()) {
            throw std::runtime_error("the daemon ended with status " + std::to_string(daemon_->wait()));
        }
    }

    std::string publishMarker()
    {
        std::string marker = "marker " + std::to_string(++markers_) + ";";
        markerStart_ = log().size();
        if (eventbus_publish(kMarkerTopic, marker.c_str()) != 0) {
            throw std::runtime_error(std::string("eventbus_publish: ") + std::strerror(errno));
        }
        return marker;
    }

    // This topic is the last that the listener subscribes: who hears it hears all.
    void passStartingListener()
    {
        constexpr std::chrono::milliseconds kOneTry{20};
        waitFor("the listener to start", [&] {
            stopIfEnded();
            const std::string marker = publishMarker();
            return becomesTrue([&] { return log().holds(marker, markerStart_); }, kOneTry);
        });
    }

    bool carryOut(const Step& step)
    {
        switch (step.kind) {
        case Step::Kind::type: return typeAndSettle(step.bytes);
        case Step::Kind::lpc:
            // A command that takes longer than a caller waits is carried out all the same.
            if (lpc_proxy_call(service(), step.name.c_str(), step.text ? step.text->c_str() : nullptr) != 0 &&
                errno != ETIMEDOUT) {
                throw std::runtime_error("the method " + step.name + " failed: " + std::strerror(errno));
            }
            return false;
        case Step::Kind::publish:
            if (eventbus_publish(step.name.c_str(), step.text ? step.text->c_str() : nullptr) != 0) {
                throw std::runtime_error(std::string("eventbus_publish: ") + std::strerror(errno));
            }
            return false;
        }
        return false;
    }

    Observed collect(const Step& step, std::size_t logStart, bool extraBurst)
    {
        Observed seen;
        seen.replies = line().takeOutput();
        seen.printed = log().from(logStart);
        seen.runs = device_.standIns().takeCommands();
        bool ownSkipped = step.kind != Step::Kind::publish;
        for (const local::Event& event : device_.takeEvents()) {
            const bool marker = event.topic == kMarkerTopic && event.payload.value_or("").starts_with("marker ");
            const bool own = !ownSkipped && event.topic == step.name && event.payload == step.text;
            ownSkipped = ownSkipped || own;
            if (!marker && !own) {
                seen.events.push_back({std::string(event.from), event.topic, event.payload});
            }
        }
        if (extraBurst) {
            std::erase_if(seen.events, isBurstOfReturns);
        }
        for (auto& [service, method, params] : device_.takeCalls()) {
            seen.calls.push_back({service, method, params});
        }
        return seen;
    }

    TestDevice device_;
    std::unique_ptr<ChildProcess> daemon_;
    int markers_ = 0;
    std::size_t markerStart_ = 0;
};

}  // namespace

std::unique_ptr<Backend> makeEndToEndBackend(bool internalRole)
{
    return std::make_unique<EndToEndBackend>(internalRole);
}

}  // namespace transcript
