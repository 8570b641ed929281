#include "fuzz/daemonUnderTest.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string_view>

#include "console/commandEntry.h"
#include "console/dispatcher.h"
#include "core/processName.h"
#include "fuzz/leafPath.h"
#include "fuzz/pretendSystem.h"
#include "fuzz/require.h"
#include "platform/logger.h"
#include "serial/uart.h"
#include "support/replyForms.h"
#include "support/wholeJson.h"

using recording::Fault;
using recording::PeerAnswer;
using recording::Store;

namespace {

constexpr std::size_t kLongestLine = 9'999;  // what the intake keeps
constexpr int kInputsBetweenFullChecks = 4'096;

constexpr Fault kFaults[] = {Fault::query, Fault::update, Fault::statusUpdate, Fault::publish,
                             Fault::call,  Fault::run,    Fault::factory};

struct Method {
    const char* service;
    const char* name;
};
// Every method of a peer that the daemon calls.
constexpr Method kPeerMethods[] = {
    {"networkd", "TelnetRestart"},      {"systemd", "sshAddUser"},
    {"systemd", "sshDelUser"},          {"systemd", "sshUpdate"},
    {"intermcud", "debugMCU"},          {"intermcud", "trigerUsb"},
    {"intermcud", "TrigCEC"},           {"displayControl", "SetCmdOn"},
    {"displayControl", "HexRS232zone"}, {"displayControlTelnetClient", "SetCmdOn"},
    {"wpcmdd", "receiveWpCmdd"},
};

// Leaves that no row names and that decide what the daemon does.
constexpr const char* kOtherPaths[] = {
    "control.wpHsk.identifyStatus",    "control.wpHsk.remoteIpSettings.ipaddr",
    "network.telnet.connect9001Count", "system.update.progressEvent.isOn",
    "system.uart.interface1.baudrate", "system.uart.interface3.baudrate",
    "system.uart.interface2.stopbit",  "system.broadcast",
};

// As findCommand(), without a check of each of its comparisons: every command is looked up here once more.
const CommandEntry* rowOf(std::string_view line)
{
    for (const CommandEntry& row : kCommandTable) {
        if (line.starts_with(row.name[0]) && line.starts_with(std::string_view(row.name, row.matchLength()))) {
            return &row;
        }
    }
    return nullptr;
}

// A word is plain or in single quotes; a quote inside stands as '\''.
bool isHarmlessCommandLine(std::string_view line)
{
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.:,+=@%/- ";
    bool quoted = false;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '\'') {
            quoted = !quoted;
        } else if (!quoted && line.substr(at).starts_with("\\'")) {
            ++at;
        } else if (!quoted && kPlain.find(line[at]) == std::string_view::npos) {
            return false;
        }
    }
    return !quoted;
}

}  // namespace

int realCommand(int unused, const char* line, int length) asm("__real__Z18UserCommandHandleriPKci");
int checkedCommand(int unused, const char* line, int length) asm("__wrap__Z18UserCommandHandleriPKci");

// In place of UserCommandHandler, wherever it is called from.
int checkedCommand(int unused, const char* line, int length)
{
    pretend::System& system = pretend::system();
    DaemonUnderTest::instance().check();
    const bool sound = DaemonUnderTest::instance().lineIsSound();
    const TextsOf texts = DaemonUnderTest::instance().noteLine(line);
    const std::size_t before = system.replies.size();
    const int result = realCommand(unused, line, length);
    const std::string_view reply = std::string_view(system.replies).substr(before);
    const recording::Record record = DaemonUnderTest::instance().check();

    std::string_view trimmed(line);
    trimmed.remove_prefix(std::min(trimmed.find_first_not_of(' '), trimmed.size()));
    if (sound && trimmed.size() <= kLongestLine) {
        require(isReplyForm(rowOf(trimmed), std::string(trimmed), reply, texts), "a reply has one of the forms",
                std::string(trimmed) + "\" -> \"" + std::string(reply));
        const bool refused = reply.starts_with("Command FAILED");
        const bool stored = std::any_of(record.updates.begin(), record.updates.end(),
                                        [](const recording::Update& update) { return update.stored; });
        require(!refused || !stored, "a refused command stores nothing", trimmed);
    }
    return result;
}

DaemonUnderTest& DaemonUnderTest::instance()
{
    static DaemonUnderTest& daemon = *new DaemonUnderTest;
    return daemon;
}

DaemonUnderTest::DaemonUnderTest()
{
    recording::reset();
    seedFromFile(FACTORY_STATE);
    recording::put(Store::settings, "control.ledMode", "false");
    for (const Store store : {Store::settings, Store::status}) {
        auto& base = base_[store == Store::status ? 1 : 0];
        base = recording::leaves(store);
        for (const auto& [path, text] : base) {
            paths_.insert(path);
        }
    }
    for (const CommandEntry& row : kCommandTable) {
        paths_.insert(leafPath(row.jsonTemplate));
    }
    paths_.insert(std::begin(kOtherPaths), std::end(kOtherPaths));
    paths_.erase("");
    pConsoleParameterA = &record_;
}

void DaemonUnderTest::takeRole(char role)
{
    const bool internal = role == 'i';
    setProgramName(internal ? "internalComd" : "externalComd");
    record_.sourceType = internal ? kInternalHdbtLink : kExternalConsole;
    record_.serialdev = "/dev/ttyS9";
    record_.baudrate = record_.hdbt_baudrate = 115'200;  // bit/s
    record_.datalen = record_.hdbt_datalen = 8;
    record_.parity = record_.hdbt_parity = 0;
    record_.stop = record_.hdbt_stop = 1;
    record_.lastTried = {"/dev/ttyS9", 115'200, 8, 1, 0};
    if (record_.uart.hold() == nullptr) {
        const auto port = std::make_shared<UartPort>();
        port->fd = pretend::openLine();
        record_.uart.replace(port);
    }
    g_valensLinkStatus.store(0);
    g_connect9001Count.store(0);
    wpIsSuccess.store(0);
}

TextsOf DaemonUnderTest::noteLine(std::string_view line)
{
    if (line.find('\n') != std::string_view::npos) {
        texts_ = TextsOf::peers;
    }
    return texts_;
}

void DaemonUnderTest::setLeaf(Store store, const std::string& assignment)
{
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos) {
        return;
    }
    const std::string path = assignment.substr(0, equals);
    const std::string text = assignment.substr(equals + 1);
    // A stored line end would end a reply where it stands.
    const bool oneLine = text.find_first_of("\r\n") == std::string::npos && text.find("\\r") == std::string::npos &&
                         text.find("\\n") == std::string::npos && text.find("\\u00") == std::string::npos;
    if (!paths_.contains(path) || !oneLine || text.find('{') != std::string::npos || !isJson(text)) {
        return;
    }
    recording::put(store, path, text);
    touched_.insert({store, path});
}

void DaemonUnderTest::setPeers(PeerAnswer::Kind kind)
{
    for (const Method& method : kPeerMethods) {
        recording::setPeer(method.service, method.name,
                           {kind, kind == PeerAnswer::Kind::answers ? "add user success" : ""});
    }
    otherPeers_ = kind != PeerAnswer::Kind::completes;
}

bool DaemonUnderTest::instruct(ByteReader& input)
{
    constexpr PeerAnswer::Kind kKinds[] = {PeerAnswer::Kind::completes, PeerAnswer::Kind::answers,
                                           PeerAnswer::Kind::fails, PeerAnswer::Kind::absent, PeerAnswer::Kind::silent};
    constexpr int pretend::System::*kLineFaults[] = {&pretend::System::failingWrites, &pretend::System::blockedWrites,
                                                     &pretend::System::shortWrites, &pretend::System::failingOpens};
    switch (input.peek()) {
    case 'f': {
        input.next();
        const Fault fault = kFaults[input.below(std::size(kFaults))];
        const int times = static_cast<int>(input.below(8));
        recording::fail(fault, times == 0 ? recording::kForGood : times, times % 2 != 0 ? EIO : ENOSPC,
                        static_cast<int>(input.below(8)));
        faults_ = true;
        return true;
    }
    case 'n': {
        input.next();
        const std::string path = input.text();
        recording::failQuery(path);
        failing_.insert(path);
        return true;
    }
    case 's':
    case 't': {
        const Store store = input.next() == 's' ? Store::settings : Store::status;
        setLeaf(store, input.text());
        return true;
    }
    case 'p':
        input.next();
        setPeers(kKinds[input.below(std::size(kKinds))]);
        return true;
    case 'w': {
        input.next();
        const std::size_t kind = input.below(6);
        const int times = static_cast<int>(input.below(8));
        if (kind < std::size(kLineFaults)) {
            pretend::system().*kLineFaults[kind] = times;
        } else {
            (kind == 4 ? pretend::system().keepsFraming : pretend::system().refusesRequests) = times % 2 != 0;
        }
        return true;
    }
    case 'c':
        input.next();
        g_connect9001Count.store(static_cast<int>(input.below(3)));
        return true;
    case 'u':
        input.next();
        g_valensLinkStatus.store(static_cast<int>(input.below(2)));
        return true;
    case 'v': {
        input.next();
        const int level = static_cast<int>(input.below(LOG_LEVEL_COUNT));
        recording::setLogLevel(level, input.below(2) != 0);
        return true;
    }
    default: return false;
    }
}

void DaemonUnderTest::instructAll(ByteReader& input)
{
    while (input.peek() == kInstruction) {
        input.next();
        if (!instruct(input)) {
            return;
        }
    }
}

bool DaemonUnderTest::lineIsSound()
{
    const pretend::System& system = pretend::system();
    const std::shared_ptr<UartPort> port = record_.uart.hold();
    return system.failingWrites == 0 && system.blockedWrites == 0 && port != nullptr && !port->stalled;
}

recording::Record DaemonUnderTest::check()
{
    recording::Record record = recording::take();
    for (const recording::Update& update : record.updates) {
        // The hub's debug mode has no leaf: its template is empty.
        require(update.document.empty() ? !update.stored : isJson(update.document), "a document is whole JSON",
                update.document);
        for (const std::string& path : update.changed) {
            touched_.insert({update.store, path});
        }
    }
    for (const recording::Event& event : record.events) {
        if (event.topic.ends_with("ConfigChanged")) {
            require(event.payload && isJson(*event.payload), "an event's document is whole JSON",
                    event.payload.value_or("(null)"));
        }
    }
    for (const std::string& run : record.runs) {
        require(isHarmlessCommandLine(run), "a shell line quotes what others chose", run);
    }
    return record;
}

void DaemonUnderTest::heal()
{
    if (faults_) {
        for (const Fault fault : kFaults) {
            recording::fail(fault, 0);
        }
        faults_ = false;
    }
    for (const std::string& path : failing_) {
        recording::failQuery(path, 0);
    }
    failing_.clear();
    if (otherPeers_) {
        setPeers(PeerAnswer::Kind::completes);
    }
    for (int level = 0; level < LOG_LEVEL_COUNT; ++level) {
        recording::setLogLevel(level, level == 4 || level == 5);
    }
    pretend::healLine();
}

void DaemonUnderTest::undoChanges()
{
    for (const auto& [store, path] : touched_) {
        recording::drop(store, path);
    }
    for (const auto& [store, path] : touched_) {
        const auto& base = base_[store == Store::status ? 1 : 0];
        if (const auto leaf = base.find(path); leaf != base.end()) {
            recording::put(store, path, leaf->second);
        }
    }
    touched_.clear();
    if (inputs_++ % kInputsBetweenFullChecks == 0) {
        for (const Store store : {Store::settings, Store::status}) {
            require(recording::leaves(store) == base_[store == Store::status ? 1 : 0], "every change was announced");
        }
    }
}

void DaemonUnderTest::finish()
{
    heal();
    check();
    undoChanges();
    texts_ = TextsOf::console;
    const pretend::DaemonScope scope;
    if (const auto port = record_.uart.hold()) {
        port->stalled = false;
    }
    pretend::takeReplies();
    UserCommandHandler(0, "Blink sta", 9);
    require(pretend::takeReplies() == "Blink off\r\n", "a command is answered after whatever came before");
    check();
}
