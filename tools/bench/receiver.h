// All that a receiver is: a bus, stores, stand-ins for the peer daemons and for programs that would change the machine,
// and the daemon's instances on their ports. One thread uses it, of which the kernel watches that it lives; it has to
// attend to it whenever it waits.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "bench/busWatch.h"
#include "bench/childProcess.h"
#include "bench/journal.h"
#include "bench/messageLog.h"
#include "bench/peers.h"
#include "bench/privateBus.h"
#include "bench/pseudoTerminal.h"
#include "bench/standIns.h"
#include "bench/workspace.h"
#include "platform/support/ownership.h"

/// The person or the system asked the bench to end.
struct Stopped {
    int signal;
};

/// One of the daemon's two instances.
struct InstanceRole {
    const char* program;
    const char* portName;
    const char* service;
    /// A call without effect, by which the instance shows that its loop has come round.
    const char* idleMethod;
    const char* idleText;
};
extern const InstanceRole kExternalRole;
extern const InstanceRole kInternalRole;

class Receiver {
public:
    /// Is told all that happens, on the thread that attends.
    using Observer = std::function<void(const Happening&)>;

    struct Setup {
        bool internalConsole = false;  ///< the console is the link's, not the RS-232 port's
        bool bothInstances = true;     ///< else only the one with the console
        bool watched = false;          ///< what passes over the bus is told, too
        bool inOrder = false;          ///< before any later output of a port
        std::string device{};          ///< the console's port, in place of a pseudo-terminal
        PeerPlan peers{};
    };

    /// A bus and a place for stores; no program runs yet. Throws Refused or Stopped, and so does everything below.
    Receiver(const std::optional<std::string>& directory, Observer observer);
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    ~Receiver();

    /// Returns once a typed line would be answered.
    void start(const Setup& setup);

    [[nodiscard]] const Workspace& workspace() const { return workspace_; }
    [[nodiscard]] StandIns& standIns() { return *standIns_; }
    [[nodiscard]] Peers& peers() { return *peers_; }
    /// Shell assignments that lead other programs to this receiver.
    [[nodiscard]] std::string environmentLine() const;
    /// The daemon with the console.
    [[nodiscard]] pid_t consoleProcess() const { return console_.process ? console_.process->pid() : 0; }
    [[nodiscard]] const MessageLog& consoleLog() const { return *console_.log; }
    [[nodiscard]] const InstanceRole& consoleRole() const { return *console_.role; }

    /// Has the bytes written to the console's port as it takes them.
    void type(std::string_view bytes) { outgoing_ += bytes; }

    /// Does what is to be done for at most this many milliseconds (-1: without limit), or until there is something to
    /// read from `input`, which it tells.
    bool attend(int milliseconds, int input = -1);
    /// Attends until the condition holds, at most so long. Whether it holds.
    bool attendUntil(const std::function<bool()>& condition, int milliseconds);

    /// Whether something typed is not yet read by the console's daemon.
    [[nodiscard]] bool typedIsWaiting() const;
    /// Throws Refused when the console's daemon no longer has its port open: then no line reaches it any more.
    void checkConsolePort();

    /// Attends until the console's daemon has read all that was typed and has done its work, so that every reply has
    /// been told. False when that took too long.
    bool settle();
    /// As settle, and a quiet gap of the line has passed as well.
    bool settleAfterGap();
    /// As settle, and the console's daemon has reacted to every change made until now.
    bool settleListener();

    /// Whether its loop serves a call; false when it does not within a moment.
    bool passLoop();
    /// Publishes a mark; the daemons' listeners print it when its turn comes. What they have printed ends with it then.
    std::string publishMark();
    /// Whether this event is such a mark.
    [[nodiscard]] static bool isMark(const Happening& happening);

private:
    struct Instance {
        const InstanceRole* role = nullptr;
        std::unique_ptr<PseudoTerminal> port;  // none: a device of the machine's
        std::string device;
        std::unique_ptr<MessageLog> log;
        std::unique_ptr<ChildProcess> process;
    };

    void startInstance(Instance& instance, const InstanceRole& role, const std::string& device);
    void awaitService(const Instance& instance);
    void awaitListeners();
    void tell(const Happening& happening);
    void tellJournal();
    void passBus();
    void readPorts();
    void writePort();
    void checkStopped() const;
    void checkChildren();

    UniqueFd stop_;
    Workspace workspace_;
    Observer observer_;
    Journal journal_;
    std::unique_ptr<StandIns> standIns_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<BusWatch> watch_;
    std::unique_ptr<Peers> peers_;
    Instance console_;
    Instance other_;
    bool listens_ = false;
    int lastMark_ = 0;
    bool inOrder_ = false;
    int passesSeen_ = 0;
    std::string outgoing_;
};
