// Stores that cannot be written or read: what the console still says, and that it goes on when they are back.
#include <cerrno>
#include <filesystem>
#include <sys/prctl.h>
#include <termios.h>

#include <linux/capability.h>

#include "endToEnd/daemonTest.h"
#include "faults/patientClock.h"
#include "faults/smallDisk.h"
#include "faults/sqliteFile.h"

namespace {

namespace fs = std::filesystem;
using local::Store;
using std::chrono::steady_clock;

constexpr char kUpdateFailed[] = "user_config_update\n";

std::chrono::duration<double> since(steady_clock::time_point start)
{
    return steady_clock::now() - start;
}

class StoreFaults : public DaemonTest {
protected:
    // A setting command whose update fails: no reply, no event, one message of level 5, and the next line is served.
    void expectSilence(Console& console, const std::string& command)
    {
        takeEventsUpToNow();
        const std::size_t from = console.log().size();
        console.line().type(command + "\r");
        console.waitForPrinted(kUpdateFailed, from);
        EXPECT_EQ(console.answer("nonsense\r", "\n"), "Command FAILED: (nonsense)\r\n") << command;
        EXPECT_EQ(takeEventsUpToNow(), 0U) << command;
    }

    // How many there were. The console's own are sent before its reply, and so before the marker.
    std::size_t takeEventsUpToNow()
    {
        EXPECT_EQ(publishEvent("marker", std::nullopt), 0);
        device_.waitForEvent("marker", std::nullopt);
        return device_.takeEvents().size() - 1;
    }

    // A query that fails is answered by nobody, and the next line is served.
    static void expectNoAnswer(Console& console, const std::string& command)
    {
        EXPECT_EQ(console.answer(command + "\rnonsense\r", "(nonsense)\r\n"), "Command FAILED: (nonsense)\r\n");
    }

    static void expectReply(Console& console, const std::string& command, const std::string& reply)
    {
        EXPECT_EQ(console.answer(command + "\r", "\n"), reply + "\r\n");
    }

    [[nodiscard]] std::string path(const char* name) const { return device_.directory() + '/' + name; }

    // Programs started from now on obey file modes, also those of root.
    static void dropOverride()
    {
        ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
        ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
    }
};

TEST_F(StoreFaults, aFullDisk)
{
    const SmallDisk disk(device_.directory());
    device_.startPeers();
    device_.put(Store::settings, "control.ledMode", "false");
    device_.put(Store::settings, "audio.audOut.allMute", "false");
    Console console(device_, kExternal);
    expectReply(console, "Blink on", "Blink on");
    disk.fill();
    expectSilence(console, "Blink off");
    expectSilence(console, "VOUTMute on");
    expectReply(console, "Blink sta", "Blink on");
    expectReply(console, "VOUTMute sta", "VOUTMute off");
    // What stands already needs no room.
    expectReply(console, "Blink on", "Blink on");
    disk.empty();
    expectReply(console, "Blink off", "Blink off");
    expectReply(console, "Blink sta", "Blink off");
    EXPECT_EQ(SqliteFile(path("settings.db")).run("PRAGMA integrity_check"), std::vector<std::string>{"ok"});
}

TEST_F(StoreFaults, aFullDiskAtStart)
{
    const SmallDisk disk(device_.directory());
    device_.startPeers();
    disk.fill();
    Console console(device_, kExternal);
    expectNoAnswer(console, "Blink sta");
    expectSilence(console, "Blink on");
    disk.empty();
    expectReply(console, "Blink on", "Blink on");
    expectReply(console, "Blink sta", "Blink on");
    EXPECT_EQ(setAsideIn(device_.directory()), std::vector<std::string>{});
}

TEST_F(StoreFaults, aReadOnlyFile)
{
    device_.startPeers();
    device_.put(Store::settings, "control.ledMode", "true");
    const fs::perms before = fs::status(path("settings.db")).permissions();
    dropOverride();
    fs::permissions(path("settings.db"), fs::perms::owner_read);
    {
        Console console(device_, kExternal);
        expectReply(console, "Blink sta", "Blink on");
        expectSilence(console, "Blink off");
        expectReply(console, "Blink sta", "Blink on");
    }
    EXPECT_EQ(setAsideIn(device_.directory()), std::vector<std::string>{});
    fs::permissions(path("settings.db"), before);
    Console console(device_, kExternal);
    expectReply(console, "Blink off", "Blink off");
    expectReply(console, "Blink sta", "Blink off");
}

TEST_F(StoreFaults, aReadOnlyDirectoryWithoutStores)
{
    device_.startPeers();
    dropOverride();
    fs::create_directories(device_.directory());
    fs::permissions(device_.directory(), fs::perms::owner_read | fs::perms::owner_exec);
    Console console(device_, kExternal);
    expectNoAnswer(console, "Blink sta");
    expectSilence(console, "Blink on");
    fs::permissions(device_.directory(), fs::perms::owner_all);
    expectReply(console, "Blink on", "Blink on");
    expectReply(console, "Blink sta", "Blink on");
}

TEST_F(StoreFaults, aLockThatAnotherWriterHoldsForTenSeconds)
{
    device_.startPeers();
    device_.put(Store::settings, "control.ledMode", "false");
    Console console(device_, kExternal);
    SqliteFile other(path("settings.db"));
    other.run("BEGIN IMMEDIATE");
    const auto locked = steady_clock::now();
    PatientClock clock(fs::path(device_.directory()).parent_path());
    double begun = clock.now();
    expectReply(console, "Blink sta", "Blink off");
    EXPECT_LT(clock.now() - begun, 2.0);  // readers do not wait
    for (int i = 0; i < 2; ++i) {
        const auto start = steady_clock::now();
        begun = clock.now();
        expectSilence(console, "Blink on");
        EXPECT_GE(since(start).count(), 4.5);
        EXPECT_LT(clock.now() - begun, 8.0);
        expectReply(console, "Blink sta", "Blink off");
    }
    EXPECT_GE(since(locked).count(), 9.0);
    other.run("ROLLBACK");
    expectReply(console, "Blink on", "Blink on");
    expectReply(console, "Blink sta", "Blink on");
}

TEST_F(StoreFaults, aLockReleasedInTime)
{
    device_.startPeers();
    device_.put(Store::settings, "control.ledMode", "false");
    Console console(device_, kExternal);
    SqliteFile other(path("settings.db"));
    other.run("BEGIN IMMEDIATE");
    console.line().type("Blink on\r");
    console.line().waitUntilAllRead();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));  // the wait is what is tested
    EXPECT_EQ(console.line().takeOutput(), "");
    other.run("ROLLBACK");
    EXPECT_EQ(console.line().takeOutputWith("\n"), "Blink on\r\n");
}

TEST_F(StoreFaults, aCorruptStoreAtTheStartOfBothInstances)
{
    device_.startPeers();
    constexpr char kMessage[] = " is corrupt: it is kept as ";
    for (const Store store : {Store::settings, Store::status}) {
        device_.put(store, "control.ledMode", "true");
    }
    device_.putFactoryData("SerialNumber", "12");
    for (const char* name : {"settings.db", "status.db", "factory.db"}) {
        loseHeader(path(name));
    }
    PseudoTerminal lines[2];
    OutputFile logs[2];
    std::unique_ptr<ChildProcess> daemons[2];
    const char* names[] = {kExternal, kInternal};
    for (int i = 0; i < 2; ++i) {
        daemons[i] = device_.startDaemon(names[i], {lines[i].device()}, logs[i]);
    }
    for (PseudoTerminal& line : lines) {
        waitFor("the port to be opened", [&] {
            termios settings{};
            return ::tcgetattr(line.deviceFd(), &settings) == 0 && (settings.c_lflag & ECHO) == 0;
        });
        line.type("Blink sta\rnonsense\r");
        EXPECT_EQ(line.takeOutputWith("(nonsense)\r\n"), "Command FAILED: (nonsense)\r\n");
    }
    lines[0].type("Blink on\r");
    EXPECT_EQ(lines[0].takeOutputWith("\n"), "Blink on\r\n");
    lines[1].type("Blink sta\r");
    EXPECT_EQ(lines[1].takeOutputWith("\n"), "Blink on\r\n");
    // The settings and the status store are opened at the start; the factory data when it is asked for.
    EXPECT_EQ(setAsideIn(device_.directory()).size(), 2U);
    for (const char* name : {"settings.db", "status.db"}) {
        const std::string message = path(name) + kMessage;
        EXPECT_NE(logs[0].holds(message, 0), logs[1].holds(message, 0)) << name;
    }
    lines[0].type("RFabSN\rnonsense\r");
    EXPECT_EQ(lines[0].takeOutputWith("(nonsense)\r\n").find("12"), std::string::npos);
}

}  // namespace
