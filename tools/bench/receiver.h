// All that a receiver is: a bus, seeded stores, stand-ins for the peer daemons and for programs that would change the
// machine, and both daemon instances on pseudo-terminals. One thread uses it; it has to attend to it whenever it waits.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "bench/childProcess.h"
#include "bench/peers.h"
#include "bench/privateBus.h"
#include "bench/pseudoTerminal.h"
#include "bench/standIns.h"
#include "bench/syncMarks.h"
#include "bench/workspace.h"
#include "platform/support/ownership.h"

/// The person or the system asked the bench to end.
struct Stopped {
    int signal;
};

class Receiver {
public:
    /// Takes the bytes that the external console writes.
    using Sink = std::function<void(std::string_view)>;

    /// Returns once a typed line would be answered. Throws Refused or Stopped, and so does everything below.
    Receiver(const std::optional<std::string>& directory, Sink console);
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    ~Receiver();

    [[nodiscard]] const Workspace& workspace() const { return workspace_; }
    [[nodiscard]] const std::string& busAddress() const { return bus_->address(); }
    /// Shell assignments that lead other programs to this receiver.
    [[nodiscard]] std::string environmentLine() const;

    /// Has the bytes written to the external console's port as it takes them.
    void type(std::string_view bytes) { outgoing_ += bytes; }

    /// Does what is to be done for at most this many milliseconds (-1: without limit), or until there is something to
    /// read from `input`, which it tells.
    bool attend(int milliseconds, int input = -1);

    /// Whether something typed is not yet read by the external daemon.
    [[nodiscard]] bool typedIsWaiting() const;
    /// Throws Refused when the external daemon no longer has its port open: then no line reaches it any more.
    void checkConsolePort();

    /// Attends until the external daemon has read all that was typed and has done its work, so that every reply has
    /// reached the sink. False when that took too long.
    bool settle();
    /// As settle, and a quiet gap of the line has passed as well.
    bool settleAfterGap();
    /// As settle, and the external daemon has reacted to every change made until now.
    bool settleListener();

private:
    /// One daemon instance and its port.
    struct Instance {
        std::unique_ptr<PseudoTerminal> port;
        SyncMarks marks;
        std::unique_ptr<ChildProcess> process;
    };

    void startInstance(Instance& instance, const char* program, const char* portName);
    void awaitService(const char* service, const char* method, const char* text);
    void awaitListeners();
    void publishMark();
    void readPorts();
    void checkStopped() const;
    void checkChildren();

    UniqueFd stop_;
    Workspace workspace_;
    Sink console_;
    std::unique_ptr<StandIns> standIns_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<Peers> peers_;
    Instance external_;
    Instance internal_;
    bool externalListens_ = false;
    int lastMark_ = 0;
    std::string outgoing_;
};
