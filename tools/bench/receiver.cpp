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

#include "bench/limits.h"
#include "bench/notes.h"
#include "bench/ownProgram.h"
#include "platform/eventBus.h"
#include "platform/lpc.h"
#include "support/failure.h"
#include "support/stopSignals.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

// The listener prints this topic's payload before it finds that it is no JSON; nothing else comes of it.
constexpr char kMarkTopic[] = "networkStatusConfigChanged";
constexpr std::string_view kMarkStart = "receiver-bench mark ";

constexpr char kPassService[] = "receiverBenchPass";

constexpr int kSliceMs = 5;         // between two looks at something that has no descriptor
constexpr int kCallTimeMs = 2'500;  // one call; shorter than the engine's own patience
constexpr int kMarkAgainMs = 20;    // a mark published before the listener subscribed is lost
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

// The table's row for RS232zone does nothing, and a line setting that is not given sets nothing.
const InstanceRole kExternalRole{.program = "externalComd",
                                 .portName = "console",
                                 .service = "lpcExampledNoUse",
                                 .idleMethod = "wpDispBtn",
                                 .idleText = "RS232zone"};
const InstanceRole kInternalRole{.program = "internalComd",
                                 .portName = "hdbt",
                                 .service = "lpcExampledNoUse2",
                                 .idleMethod = "HDBTRS232Set",
                                 .idleText = nullptr};

Receiver::Receiver(const std::optional<std::string>& directory, Observer observer)
    : stop_(stopDescriptor({SIGINT, SIGTERM, SIGHUP})), workspace_(directory), observer_(std::move(observer))
{
    standIns_ = std::make_unique<StandIns>(workspace_);
    bus_ = std::make_unique<PrivateBus>(workspace_);
    // From here on everything in this process and below it is on this platform. No other thread runs yet.
    setenv("PLATFORM", ("local:" + workspace_.directory().string()).c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", bus_->address().c_str(), 1);
}

void Receiver::start(const Setup& setup)
{
    inOrder_ = setup.watched && setup.inOrder;
    if (setup.watched) {
        watch_ = std::make_unique<BusWatch>(journal_);
    }
    peers_ = std::make_unique<Peers>(setup.peers, journal_);
    startInstance(console_, setup.internalConsole ? kInternalRole : kExternalRole, setup.device);
    if (setup.bothInstances) {
        startInstance(other_, setup.internalConsole ? kExternalRole : kInternalRole, {});
    }
    awaitService(console_);
    if (setup.bothInstances) {
        awaitService(other_);
    }
    awaitListeners();
}

Receiver::~Receiver()
{
    // The daemons first, so that they do not see their bus go.
    console_.process.reset();
    other_.process.reset();
    peers_.reset();
    watch_.reset();
    try {
        tellJournal();
    } catch (const std::exception&) {
        // Whom it would be told to is gone, which has been said.
    }
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

void Receiver::startInstance(Instance& instance, const InstanceRole& role, const std::string& device)
{
    instance.role = &role;
    if (device.empty()) {
        instance.port = std::make_unique<PseudoTerminal>();
    }
    instance.device = device.empty() ? instance.port->device() : device;
    workspace_.link(workspace_.file(role.portName), instance.device);
    instance.log = std::make_unique<MessageLog>(workspace_.file((std::string(role.program) + ".log").c_str()));
    ChildProcess::Setup setup;
    setup.command = {siblingProgram(role.program), workspace_.file(role.portName)};
    const char* path = std::getenv("PATH");
    setup.environment = {
        {"PATH", workspace_.standInDirectory().string() + (path == nullptr ? "" : ":" + std::string(path))},
        {"PLATFORM_SHELL", standIns_->shell()},
        {"RECEIVER_BENCH_COMMANDS", standIns_->channel()},
        {"RECEIVER_BENCH_STATUS", standIns_->statusFile()},
    };
    setup.log = instance.log->file();
    instance.process = std::make_unique<ChildProcess>(setup);
}

bool Receiver::attend(int milliseconds, int input)
{
    checkStopped();
    const auto consoleEvents = static_cast<short>(POLLIN | (outgoing_.empty() ? 0 : POLLOUT));
    const auto portOf = [](const Instance& instance) { return instance.port ? instance.port->descriptor() : -1; };
    const auto endOf = [](const Instance& instance) {
        return instance.process ? instance.process->endDescriptor() : -1;
    };
    std::array<pollfd, 9> watched = {{
        {input, POLLIN, 0},
        {portOf(console_), consoleEvents, 0},
        {portOf(other_), POLLIN, 0},
        {standIns_->descriptor(), POLLIN, 0},
        {journal_.descriptor(), POLLIN, 0},
        {stop_.get(), POLLIN, 0},
        {bus_->process().endDescriptor(), POLLIN, 0},
        {endOf(console_), POLLIN, 0},
        {endOf(other_), POLLIN, 0},
    }};
    if (poll(watched.data(), watched.size(), milliseconds) < 0) {
        return false;  // interrupted; the caller comes again
    }
    writePort();
    tellJournal();
    readPorts();
    checkStopped();
    checkChildren();
    return watched[0].revents != 0;
}

bool Receiver::attendUntil(const std::function<bool()>& condition, int milliseconds)
{
    const Deadline deadline(milliseconds);
    while (!condition()) {
        if (deadline.passed()) {
            return condition();
        }
        attend(1);
    }
    return true;
}

void Receiver::tell(const Happening& happening)
{
    if (happening.kind == Happening::Kind::call && happening.service == kPassService && happening.by == getpid()) {
        ++passesSeen_;
    }
    observer_(happening);
}

// What a daemon sends over the bus before it writes to its port is to be told first. The bus may serve one call before
// what has reached it earlier from another program, but not the next call as well.
void Receiver::passBus()
{
    const int wanted = passesSeen_ + 2;
    for (int call = 0; call < 2; ++call) {
        lpc_proxy_call(kPassService, "pass", nullptr);  // nobody has it: the bus itself answers
    }
    const Deadline deadline(kCallTimeMs);
    while (passesSeen_ < wanted && !deadline.passed()) {
        pollfd told{.fd = journal_.descriptor(), .events = POLLIN, .revents = 0};
        poll(&told, 1, kSliceMs);
        tellJournal();
    }
}

void Receiver::tellJournal()
{
    for (std::string& command : standIns_->takeCommands()) {
        journal_.add({.kind = Happening::Kind::command, .text = std::move(command)});
    }
    for (const Happening& happening : journal_.take()) {
        tell(happening);
    }
}

void Receiver::writePort()
{
    if (outgoing_.empty() || !console_.port) {
        return;
    }
    const std::size_t count = console_.port->write(outgoing_);
    if (count > 0) {
        tell({.kind = Happening::Kind::typed, .text = outgoing_.substr(0, count), .time = Clock::now()});
        outgoing_.erase(0, count);
    }
}

void Receiver::readPorts()
{
    for (const Instance* instance : {&console_, &other_}) {
        std::string bytes = instance->port ? instance->port->read() : "";
        if (!bytes.empty()) {
            if (inOrder_) {
                passBus();
            }
            const auto kind = instance == &console_ ? Happening::Kind::printed : Happening::Kind::linkPrinted;
            tell({.kind = kind, .service = instance->role->portName, .text = std::move(bytes), .time = Clock::now()});
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
    for (ChildProcess* process : {&bus_->process(), console_.process.get(), other_.process.get()}) {
        if (process != nullptr && process->ended()) {
            throw Refused(process->obituary());
        }
    }
}

bool Receiver::passLoop()
{
    const InstanceRole& role = *console_.role;
    return callServed(role.service, role.idleMethod, role.idleText, [this] { attend(0); });
}

void Receiver::awaitService(const Instance& instance)
{
    const InstanceRole& role = *instance.role;
    const Deadline deadline(kStartTimeMs);
    while (!callServed(role.service, role.idleMethod, role.idleText, [this] { attend(0); })) {
        if (deadline.passed()) {
            throw Refused(std::string("the service ") + role.service + " does not answer; see the logs in " +
                          workspace_.directory().string());
        }
        attend(kSliceMs);
    }
}

std::string Receiver::publishMark()
{
    std::string mark = std::string(kMarkStart) + std::to_string(++lastMark_) + ";";
    eventbus_publish(kMarkTopic, mark.c_str());
    return mark;
}

bool Receiver::isMark(const Happening& happening)
{
    return happening.kind == Happening::Kind::event && happening.by == getpid() && happening.name == kMarkTopic &&
           happening.text.value_or("").starts_with(kMarkStart);
}

// A listener is made after the service and subscribes in its own time; until then it would miss events. The topic of
// the marks is the last that it subscribes to: who hears it hears all.
void Receiver::awaitListeners()
{
    const auto listens = [](const Instance& instance) {
        return !instance.process || instance.log->holds(kMarkStart, 0);
    };
    const auto canListen = [](const Instance& instance) { return threadCount(instance.process->pid()) > 1; };
    const auto awaited = [&](const Instance& instance) { return !listens(instance) && canListen(instance); };
    const Deadline deadline(kStartTimeMs);
    while (awaited(console_) || awaited(other_)) {
        if (deadline.passed()) {
            note("receiver-bench: a daemon does not react to events; its logs may tell why");
            break;
        }
        publishMark();
        attendUntil([&] { return listens(console_) && listens(other_); }, kMarkAgainMs);
    }
    listens_ = listens(console_);
}

bool Receiver::typedIsWaiting() const
{
    return console_.port && (!outgoing_.empty() || !console_.port->consumed());
}

// The daemon closes and opens its port in one go before it serves its next call, so that each call between two looks
// rules out that both fell into the same opening.
void Receiver::checkConsolePort()
{
    for (int look = 0; look < kPortLooks; ++look) {
        if (hasOpen(console_.process->pid(), console_.device) || !passLoop()) {
            return;
        }
    }
    throw Refused(std::string("the console's port is gone: ") + console_.role->program + " no longer has " +
                  console_.device + " open (UartReset makes it open the board's /dev/ttyS6 instead)");
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
    while (!passLoop()) {
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
    const pid_t pid = console_.process->pid();
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
    if (!listens_) {
        return true;
    }
    const std::size_t start = consoleLog().size();
    const std::string mark = publishMark();
    // What it prints before it takes the mark has come out of the port by then.
    listens_ = attendUntil([&] { return consoleLog().holds(mark, start); }, kCommandTimeMs);
    attend(0);
    return listens_;
}
