#include "bench/receiver.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "bench/factoryState.h"
#include "bench/limits.h"
#include "bench/notes.h"
#include "bench/ownProgram.h"
#include "platform/eventBus.h"
#include "platform/lpc.h"
#include "support/failure.h"
#include "support/jsonText.h"
#include "support/stopSignals.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

// Text for the port, written by the daemons' listeners as it stands.
constexpr char kPortTextTopic[] = "uartProjectorEvent";

// Calls without effect, by which a daemon shows that its loop has come round: the table's row for RS232zone does
// nothing, and a line setting that is not given sets nothing.
constexpr char kExternalService[] = "lpcExampledNoUse";
constexpr char kExternalMethod[] = "wpDispBtn";
constexpr char kExternalText[] = "RS232zone";
constexpr char kInternalService[] = "lpcExampledNoUse2";
constexpr char kInternalMethod[] = "HDBTRS232Set";

constexpr int kSliceMs = 5;         // between two looks at something that has no descriptor
constexpr int kCallTimeMs = 2'500;  // one call; shorter than the engine's own patience
constexpr int kMarkAgainMs = 100;   // a mark published before the listener subscribed is lost
constexpr int kQuietGapMs = 30;     // the loop's time-out, which ends a burst
constexpr int kWakesInAGap = 5;     // one before the gap, one after it, and some for locks and files
constexpr int kPortLooks = 3;       // a port that is opened anew may be missed by one look, not by all of them

class Deadline {
public:
    explicit Deadline(int milliseconds) : end_(Clock::now() + std::chrono::milliseconds(milliseconds)) {}
    [[nodiscard]] bool passed() const { return Clock::now() >= end_; }

private:
    Clock::time_point end_;
};

struct DestroyCompletion {
    void operator()(lpc_completion* completion) const { lpc_completion_destroy(completion); }
};
using Completion = std::unique_ptr<lpc_completion, DestroyCompletion>;

/// One call without effect; `attend` runs while it waits. Whether the daemon has served it.
template <class Attend>
bool callServed(const char* service, const char* method, const char* text, const Attend& attend)
{
    const Completion completion(lpc_proxy_call_with_reply(service, method, text));
    const Deadline deadline(kCallTimeMs);
    while (completion && !deadline.passed()) {
        if (lpc_completion_wait(completion.get(), kSliceMs) == 0) {
            return true;
        }
        if (errno != ETIMEDOUT) {
            return false;
        }
        attend();
    }
    return false;
}

/// How often the process's first thread has waited for something (proc(5)); -1 when that cannot be told.
long timesWaited(pid_t pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/status");
    static constexpr std::string_view kField = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(kField)) {
            return std::strtol(line.c_str() + kField.size(), nullptr, 10);
        }
    }
    return -1;
}

/// Whether the process has the device open; true when that cannot be told.
bool hasOpen(pid_t pid, const std::string& device)
{
    std::error_code failure;
    fs::directory_iterator entry("/proc/" + std::to_string(pid) + "/fd", failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        std::error_code closed;
        if (fs::read_symlink(entry->path(), closed) == device) {
            return true;
        }
    }
    return static_cast<bool>(failure);
}

std::ptrdiff_t threadCount(pid_t pid)
{
    std::error_code ignored;
    const fs::directory_iterator tasks("/proc/" + std::to_string(pid) + "/task", ignored);
    return std::distance(begin(tasks), end(tasks));
}

}  // namespace

Receiver::Receiver(const std::optional<std::string>& directory, Sink console)
    : stop_(stopDescriptor({SIGINT, SIGTERM, SIGHUP})), workspace_(directory), console_(std::move(console))
{
    standIns_ = std::make_unique<StandIns>(workspace_);
    bus_ = std::make_unique<PrivateBus>(workspace_);
    // From here on everything in this process and below it is on this platform. No other thread runs yet.
    setenv("PLATFORM", ("local:" + workspace_.directory().string()).c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", bus_->address().c_str(), 1);
    seedStores(workspace_.file("bench.boot"));
    peers_ = std::make_unique<Peers>();
    startInstance(external_, "externalComd", "console");
    startInstance(internal_, "internalComd", "hdbt");
    awaitService(kExternalService, kExternalMethod, kExternalText);
    awaitService(kInternalService, kInternalMethod, nullptr);
    awaitListeners();
}

Receiver::~Receiver()
{
    // The daemons first, so that they do not see their bus go.
    external_.process.reset();
    internal_.process.reset();
    standIns_->noteCommands();
    peers_.reset();
}

std::string Receiver::environmentLine() const
{
    const auto quoted = [](const std::string& text) {
        if (text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:=%,+@") ==
            std::string::npos) {
            return text;
        }
        std::string out = "'";
        for (const char character : text) {
            out += character == '\'' ? std::string("'\\''") : std::string(1, character);
        }
        return out + "'";
    };
    return "PLATFORM=" + quoted("local:" + workspace_.directory().string()) +
           " DBUS_SESSION_BUS_ADDRESS=" + quoted(bus_->address());
}

void Receiver::startInstance(Instance& instance, const char* program, const char* portName)
{
    instance.port = std::make_unique<PseudoTerminal>();
    workspace_.link(workspace_.file(portName), instance.port->device());
    ChildProcess::Setup setup;
    setup.command = {siblingProgram(program), workspace_.file(portName)};
    const char* path = std::getenv("PATH");
    setup.environment = {
        {"PATH", workspace_.standInDirectory().string() + (path == nullptr ? "" : ":" + std::string(path))},
        {"PLATFORM_SHELL", standIns_->shell()},
        {"RECEIVER_BENCH_COMMANDS", standIns_->channel()},
    };
    setup.log = workspace_.file((std::string(program) + ".log").c_str());
    instance.process = std::make_unique<ChildProcess>(setup);
}

bool Receiver::attend(int milliseconds, int input)
{
    checkStopped();
    const short consoleEvents = static_cast<short>(POLLIN | (outgoing_.empty() ? 0 : POLLOUT));
    std::array<pollfd, 8> watched = {{
        {input, POLLIN, 0},
        {external_.port ? external_.port->descriptor() : -1, consoleEvents, 0},
        {internal_.port ? internal_.port->descriptor() : -1, POLLIN, 0},
        {standIns_->descriptor(), POLLIN, 0},
        {stop_.get(), POLLIN, 0},
        {bus_->process().endDescriptor(), POLLIN, 0},
        {external_.process ? external_.process->endDescriptor() : -1, POLLIN, 0},
        {internal_.process ? internal_.process->endDescriptor() : -1, POLLIN, 0},
    }};
    if (poll(watched.data(), watched.size(), milliseconds) < 0) {
        return false;  // interrupted; the caller comes again
    }
    if (!outgoing_.empty() && external_.port) {
        outgoing_.erase(0, external_.port->write(outgoing_));
    }
    readPorts();
    standIns_->noteCommands();
    checkStopped();
    checkChildren();
    return watched[0].revents != 0;
}

void Receiver::publishMark()
{
    ++lastMark_;
    external_.marks.expect(lastMark_);
    internal_.marks.expect(lastMark_);
    eventbus_publish(kPortTextTopic, SyncMarks::text(lastMark_).c_str());
}

void Receiver::readPorts()
{
    if (external_.port) {
        const std::string bytes = external_.marks.strip(external_.port->read());
        if (!bytes.empty()) {
            console_(bytes);
        }
    }
    if (internal_.port) {
        const std::string bytes = internal_.marks.strip(internal_.port->read());
        if (!bytes.empty()) {
            noteFrom("hdbt", printableJson(jsonString(bytes)));
        }
    }
}

void Receiver::checkStopped() const
{
    signalfd_siginfo info{};
    if (read(stop_.get(), &info, sizeof info) == sizeof info) {
        throw Stopped{static_cast<int>(info.ssi_signo)};
    }
}

void Receiver::checkChildren()
{
    for (ChildProcess* process : {&bus_->process(), external_.process.get(), internal_.process.get()}) {
        if (process != nullptr && process->ended()) {
            throw Refused(process->obituary());
        }
    }
}

void Receiver::awaitService(const char* service, const char* method, const char* text)
{
    const Deadline deadline(kStartTimeMs);
    while (!callServed(service, method, text, [this] { attend(0); })) {
        if (deadline.passed()) {
            throw Refused(std::string("the service ") + service + " does not answer; see the logs in " +
                          workspace_.directory().string());
        }
        attend(kSliceMs);
    }
}

// A listener is made after the service and subscribes in its own time; until then it would miss events.
void Receiver::awaitListeners()
{
    const auto listens = [](const Instance& instance) { return instance.marks.seen() > 0; };
    const auto canListen = [](const Instance& instance) { return threadCount(instance.process->pid()) > 1; };
    const Deadline deadline(kStartTimeMs);
    while ((!listens(external_) && canListen(external_)) || (!listens(internal_) && canListen(internal_))) {
        if (deadline.passed()) {
            note("receiver-bench: a daemon does not react to events; its logs may tell why");
            break;
        }
        publishMark();
        const Deadline again(kMarkAgainMs);
        while (!again.passed() && !(listens(external_) && listens(internal_))) {
            attend(kSliceMs);
        }
    }
    externalListens_ = listens(external_);
}

bool Receiver::typedIsWaiting() const
{
    return !outgoing_.empty() || !external_.port->consumed();
}

// The daemon closes and opens its port in one go before it serves its next call, so that each call between two looks
// rules out that both fell into the same opening.
void Receiver::checkConsolePort()
{
    const std::string& device = external_.port->device();
    for (int look = 0; look < kPortLooks; ++look) {
        if (hasOpen(external_.process->pid(), device) ||
            !callServed(kExternalService, kExternalMethod, kExternalText, [this] { attend(0); })) {
            return;
        }
    }
    throw Refused("the console's port is gone: externalComd no longer has " + device +
                  " open (UartReset makes it open the board's /dev/ttyS6 instead)");
}

bool Receiver::settle()
{
    const Deadline deadline(kCommandTimeMs);
    Deadline look(kPortTimeMs);
    while (typedIsWaiting()) {
        if (deadline.passed()) {
            return false;
        }
        if (look.passed()) {
            checkConsolePort();
            look = Deadline(kPortTimeMs);
        }
        attend(1);
    }
    while (!callServed(kExternalService, kExternalMethod, kExternalText, [this] { attend(0); })) {
        if (deadline.passed()) {
            return false;
        }
        attend(kSliceMs);
    }
    attend(0);
    return true;
}

bool Receiver::settleAfterGap()
{
    // Time alone does not tell that a busy machine has let the daemon see the gap. Left alone its loop waits, wakes
    // after 30 ms, and waits again: a few more waits than before, and a gap has begun.
    const pid_t pid = external_.process->pid();
    const long before = timesWaited(pid);
    const Deadline deadline(kCommandTimeMs);
    const Deadline twoGaps(2 * kQuietGapMs);
    while (!twoGaps.passed() || (before >= 0 && timesWaited(pid) < before + kWakesInAGap)) {
        if (deadline.passed()) {
            return false;
        }
        attend(kSliceMs);
    }
    return settle();
}

bool Receiver::settleListener()
{
    if (!externalListens_) {
        return true;
    }
    publishMark();
    const Deadline deadline(kCommandTimeMs);
    Deadline look(kPortTimeMs);
    while (!external_.marks.arrived()) {
        if (deadline.passed()) {
            externalListens_ = false;
            return false;
        }
        if (look.passed()) {
            checkConsolePort();  // marks come through it
            look = Deadline(kPortTimeMs);
        }
        attend(kSliceMs);
    }
    return true;
}
