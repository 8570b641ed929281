#include "transcript/unitBackend.h"

#include <cstdlib>
#include <functional>
#include <optional>
#include <stdexcept>
#include <thread>

#include "core/command.h"
#include "core/consoleParameter.h"
#include "core/processName.h"
#include "core/serviceEndpoints.h"
#include "core/uartEvenbusReadline.h"
#include "core/uartParamInit.h"
#include "support/recordingPlatform.h"
#include "support/standIns.h"
#include "support/waiting.h"
#include "transcript/lineConsole.h"

namespace transcript {

namespace {

constexpr std::size_t kListenerTopics = 13;

recording::Store platformStore(Store store)
{
    return store == Store::settings ? recording::Store::settings : recording::Store::status;
}

recording::PeerAnswer platformAnswer(const GivenPeer& peer)
{
    using From = GivenPeer::Answer;
    using To = recording::PeerAnswer::Kind;
    switch (peer.answer) {
    case From::answers: return {To::answers, peer.text};
    case From::fails: return {To::fails};
    case From::absent: return {To::absent};
    case From::silent: return {To::silent};
    case From::completes: break;
    }
    return {To::completes};
}

recording::Fault platformFault(const std::string& kind)
{
    using recording::Fault;
    if (kind == "query") {
        return Fault::query;
    }
    if (kind == "update") {
        return Fault::update;
    }
    if (kind == "status-update") {
        return Fault::statusUpdate;
    }
    if (kind == "publish") {
        return Fault::publish;
    }
    if (kind == "call") {
        return Fault::call;
    }
    return kind == "run" ? Fault::run : Fault::factory;
}

// What lives as long as the process: the record, the loop on a service of its own, the listener. Never destroyed, for
// the threads never end.
class Process {
public:
    static Process& instance()
    {
        static Process& process = *new Process;
        return process;
    }

    ConsoleParameter record;
    lpc_service* loopService = lpc_service_create("loop", nullptr, 0, nullptr);
    lpc_service* roleService = nullptr;
    std::optional<TemporaryDirectory> directory{std::in_place};
    StandIns standIns{directory->path()};
    bool openBurst = false;  // something was typed, and no quiet gap has been waited for since

private:
    Process()
    {
        const char* path = std::getenv("PATH");
        ::setenv("PATH", (standIns.programDirectory() + ":" + (path != nullptr ? path : "")).c_str(), 1);
        pConsoleParameterA = &record;
        std::thread([this] { runLoop(record, {loopService, lpc_service_fileno(loopService)}); }).detach();
        std::thread([this] { doListenEventLoop(&record); }).detach();
        waitFor("the listener's subscriptions", [] { return recording::subscriptions().size() == kListenerTopics; });
    }
};

class UnitBackend : public LineConsole {
public:
    explicit UnitBackend(bool internalRole) : LineConsole(internalRole), process_(Process::instance())
    {
        const CapturedOutput captured(log());
        onTheLoop([] { recording::reset(); });
    }

    // The line goes away with this object: the loop must have let go of it.
    ~UnitBackend() override
    {
        const CapturedOutput captured(log());
        try {
            endHalfLine();
        } catch (const std::exception&) {
            // It has failed its scenario already; the next one may do so too.
        }
        {
            const RecordLock lock(process_.record.mutex);
            process_.record.lastTried = {};
            process_.record.uart.replace(nullptr);
        }
        recording::runOnService(process_.loopService, [] {});
    }

    UnitBackend(const UnitBackend&) = delete;
    UnitBackend& operator=(const UnitBackend&) = delete;

    void give(const Given& given) override
    {
        std::visit([this](const auto& item) { this->apply(item); }, given);
    }

    void start() override
    {
        const CapturedOutput captured(log());
        onTheLoop([this] { takeRole(); });
        if (internalRole() && process_.openBurst) {
            endBurst();  // of scenarios before, which would be published with this one's
            process_.openBurst = false;
        }
        forgetStartUp();
    }

    Observed perform(const Step& step) override
    {
        const CapturedOutput captured(log());
        const std::size_t logStart = log().size();
        for (const GivenFault& fault : faults_) {
            arm(fault);
        }
        faults_.clear();
        const bool extraBurst = carryOut(step);
        passListener();
        passLoop();
        return collect(logStart, extraBurst);
    }

    Text read(Store store, const std::string& path) override { return recording::read(platformStore(store), path); }

protected:
    void passLoop() override
    {
        onTheLoop([] {});
    }

    void passListener() override
    {
        if (!recording::waitUntilDelivered()) {
            throw std::runtime_error("the listener does not take its events");
        }
    }

private:
    void apply(const GivenLeaf& leaf) { recording::put(platformStore(leaf.store), leaf.path, leaf.json); }
    void apply(const GivenFactory& item) { recording::setFactoryData(item.key, item.text); }
    void apply(const GivenPeer& peer) { recording::setPeer(peer.service, peer.method, platformAnswer(peer)); }
    void apply(const GivenRunStatus& run) { recording::setRunStatus(run.status); }
    void apply(const GivenLog& log)
    {
        const CapturedOutput captured(this->log());
        onTheLoop([&] { recording::setLogLevel(log.level, log.on); });
    }
    // Faults are for the steps: start-up goes well.
    void apply(const GivenFault& fault) { faults_.push_back(fault); }

    static void arm(const GivenFault& fault)
    {
        if (fault.path) {
            recording::failQuery(*fault.path, fault.times);
        } else {
            recording::fail(platformFault(fault.kind), fault.times);
        }
    }

    // What a real process never changes while it runs, the role among it, is read without a lock: it is changed on the
    // loop's thread, which holds the record while it serves.
    void onTheLoop(const std::function<void()>& work) const
    {
        if (!recording::runOnService(process_.loopService, work)) {
            throw std::runtime_error("the loop does not serve requests");
        }
    }

    void takeRole()
    {
        ConsoleParameter& record = process_.record;
        setProgramName(internalRole() ? "internalComd" : "externalComd");
        record.sourceType = internalRole() ? kInternalHdbtLink : kExternalConsole;
        record.serialdev = line().device().c_str();
        g_valensLinkStatus.store(0);
        uartParamInit(record);
        if (process_.roleService != nullptr) {
            lpc_service_destroy(process_.roleService);
        }
        process_.roleService = createService(record);
        recording::adoptMethods(process_.loopService, process_.roleService);
    }

    // What is left of this scenario's line must not run in the next one, nor its burst silence a gap there.
    void endHalfLine()
    {
        const std::string& burst = openBurst();
        process_.openBurst = process_.openBurst || !burst.empty();
        const bool harmless =
            burst.empty() || ((burst.back() == '\r' || burst.back() == '\n') && !isSilentBurst(burst));
        if (!harmless) {
            endBurst();
            process_.openBurst = false;
        }
    }

    void forgetStartUp()
    {
        passListener();
        passLoop();
        line().takeOutput();
        recording::take();
        process_.standIns.takeCommands();
    }

    bool carryOut(const Step& step)
    {
        switch (step.kind) {
        case Step::Kind::type: return typeAndSettle(step.bytes);
        case Step::Kind::lpc:
            if (recording::callMethod(process_.loopService, step.name, step.text) != 0) {
                throw std::runtime_error("the method " + step.name + " was not completed");
            }
            return false;
        case Step::Kind::publish: recording::deliver(step.name, step.text); return false;
        }
        return false;
    }

    Observed collect(std::size_t logStart, bool extraBurst)
    {
        recording::Record record = recording::take();
        Observed seen;
        seen.replies = line().takeOutput();
        seen.printed = log().from(logStart);
        seen.runs = std::move(record.runs);
        for (std::string& command : process_.standIns.takeCommands()) {
            seen.runs.push_back(std::move(command));
        }
        for (auto& [topic, payload, from] : record.events) {
            seen.events.push_back({from, topic, payload});
        }
        if (extraBurst && internalRole()) {
            std::erase_if(seen.events, isBurstOfReturns);
        }
        for (auto& [service, method, params] : record.calls) {
            seen.calls.push_back({service, method, params});
        }
        for (auto& [level, text] : record.logs) {
            seen.logs.push_back({level, text});
        }
        return seen;
    }

    Process& process_;
    std::vector<GivenFault> faults_;
};

}  // namespace

void removeUnitFiles()
{
    Process::instance().directory.reset();
}

std::unique_ptr<Backend> makeUnitBackend(bool internalRole)
{
    return std::make_unique<UnitBackend>(internalRole);
}

}  // namespace transcript
