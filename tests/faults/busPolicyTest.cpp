// The bus policy that ships, on a bus with the rules of the system's own, for three users: the one who runs the
// consoles, a member of the group, and anybody else. Needs root, who alone can be all three.
#include <filesystem>
#include <fstream>
#include <regex>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "endToEnd/childProcess.h"
#include "faults/sqliteFile.h"
#include "support/outputFile.h"
#include "support/pseudoTerminal.h"
#include "support/standIns.h"
#include "support/waiting.h"

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

// Users of every Debian system.
const Words kConsole{"--reuid=daemon", "--regid=daemon", "--clear-groups"};
const Words kMember{"--reuid=games", "--regid=games", "--clear-groups"};
const Words kSecondGroup{"--reuid=backup", "--regid=backup", "--groups=games"};
const Words kStranger{"--reuid=nobody", "--regid=nogroup", "--clear-groups"};

// What Debian's system.conf says, and the policies of two peers: one answers the console's calls, the other has no
// policy of its own.
constexpr const char* kConfiguration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=SOCKET</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
  </policy>
  <include>POLICY</include>
  <policy user="games">
    <allow own="receiver.lpc.networkd"/>
  </policy>
</busconfig>
)";

std::string replaced(const std::string& text, const std::string& from, const std::string& to)
{
    return std::regex_replace(text, std::regex(from), to);
}

class BusPolicy : public testing::Test {
protected:
    BusPolicy()
    {
        const fs::path directory = directory_.path();
        fs::permissions(directory, fs::perms(0755));
        for (const char* program : {PLATFORMCTL, DAEMON_DIRECTORY "/externalComd"}) {
            fs::copy_file(program, directory / fs::path(program).filename());  // where everybody may run it
        }
        const std::string policy = bytesOf(BUS_POLICY);
        writeBytes(directory / "receiver.conf", replaced(replaced(policy, "user=\"receiver\"", "user=\"daemon\""),
                                                         "group=\"receiver\"", "group=\"games\""));
        writeBytes(directory / "bus.conf", replaced(replaced(kConfiguration, "SOCKET", directory / "bus"), "POLICY",
                                                    directory / "receiver.conf"));
        fs::create_directory(directory / "stores");
        fs::permissions(directory / "stores", fs::perms(0777));
        startBus();
    }

    void startBus()
    {
        bus_ = std::make_unique<ChildProcess>(
            ChildProcess::Start{.program = DBUS_DAEMON,
                                .words = {DBUS_DAEMON, "--config-file=" + (directory_.path() / "bus.conf").string(),
                                          "--nofork", "--nopidfile", "--print-address"},
                                .environment = {},
                                .output = busOutput_.fd()});
        waitFor("the bus", [&] { return busOutput_.holds("\n", 0) || !bus_->running(); });
        if (!bus_->running()) {
            throw std::runtime_error("the bus does not start: " + busOutput_.from(0));
        }
    }

    std::unique_ptr<ChildProcess> start(const Words& user, const std::string& program, const Words& arguments,
                                        const OutputFile& output)
    {
        Words words{"setpriv", "--pdeathsig=KILL"};
        words.insert(words.end(), user.begin(), user.end());
        words.push_back((directory_.path() / program).string());
        words.insert(words.end(), arguments.begin(), arguments.end());
        return std::make_unique<ChildProcess>(ChildProcess::Start{
            .program = SETPRIV,
            .words = words,
            .environment = {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (directory_.path() / "bus").string()},
                            {"PLATFORM", "local:" + (directory_.path() / "stores").string()}},
            .output = output.fd()});
    }

    // Exit status of platformctl.
    int run(const Words& user, const Words& arguments) { return start(user, "platformctl", arguments, said_)->wait(); }

    // A long-running platformctl, once it has said that it is ready.
    std::unique_ptr<ChildProcess> serve(const Words& user, const Words& arguments, const OutputFile& output)
    {
        auto program = start(user, "platformctl", arguments, output);
        waitFor("a program", [&] { return output.holds("{\"ready\":true}\n", 0) || !program->running(); });
        EXPECT_TRUE(program->running()) << output.from(0);
        return program;
    }

    TemporaryDirectory directory_;
    OutputFile busOutput_;
    OutputFile said_;
    std::unique_ptr<ChildProcess> bus_;
};

constexpr const char* kServices[] = {"lpcExampledNoUse", "lpcExampledNoUse2"};

TEST_F(BusPolicy, onlyTheConsolesUserOwnsTheirNames)
{
    for (const char* service : kServices) {
        for (const Words& user : {kMember, kSecondGroup, kStranger}) {
            EXPECT_EQ(run(user, {"lpc", "serve", service}), 1) << user[0];
        }
        const OutputFile output;
        serve(kConsole, {"lpc", "serve", service}, output);
    }
    EXPECT_EQ(run(kConsole, {"lpc", "serve", "another"}), 1);
}

TEST_F(BusPolicy, onlyMembersOfTheGroupCallTheConsoles)
{
    for (const char* service : kServices) {
        const OutputFile output;
        const auto console = serve(kConsole, {"lpc", "serve", service}, output);
        EXPECT_EQ(run(kMember, {"lpc", "call", service, "UartReset"}), 0) << said_.from(0);
        EXPECT_EQ(run(kSecondGroup, {"lpc", "call", service, "wpDispBtn", "Blink on"}), 0) << said_.from(0);
        const std::string before = output.from(0);
        const std::size_t from = said_.size();
        EXPECT_EQ(run(kStranger, {"lpc", "call", service, "UartReset"}), 1);
        EXPECT_NE(said_.from(from).find("ermission denied"), std::string::npos) << said_.from(from);
        EXPECT_EQ(output.from(0), before);
    }
}

TEST_F(BusPolicy, theConsolesCallPeersAndGetTheirAnswers)
{
    const OutputFile output;
    const auto peer = serve(kMember, {"lpc", "serve", "networkd", "--reply", "answer"}, output);
    const std::size_t from = said_.size();
    EXPECT_EQ(run(kConsole, {"lpc", "call", "networkd", "TelnetRestart", "23"}), 0) << said_.from(from);
    EXPECT_EQ(said_.from(from), "answer\n");
    EXPECT_EQ(run(kStranger, {"lpc", "call", "networkd", "TelnetRestart", "23"}), 1);
}

TEST_F(BusPolicy, eventsAreForMembersAndFromMembers)
{
    const OutputFile member;
    const OutputFile console;
    const OutputFile stranger;
    const auto memberWatch = serve(kMember, {"event", "watch"}, member);
    const auto consoleWatch = serve(kConsole, {"event", "watch"}, console);
    const auto strangerWatch = serve(kStranger, {"event", "watch"}, stranger);
    run(kStranger, {"event", "publish", "topic", "from a stranger"});
    EXPECT_EQ(run(kMember, {"event", "publish", "topic", "from a member"}), 0);
    EXPECT_EQ(run(kConsole, {"event", "publish", "topic", "from a console"}), 0);
    const std::string expected = "{\"ready\":true}\n"
                                 R"({"topic":"topic","payload":"from a member","from":"publisher"})"
                                 "\n"
                                 R"({"topic":"topic","payload":"from a console","from":"publisher"})"
                                 "\n";
    waitFor("the events", [&] { return member.holds("from a console", 0) && console.holds("from a console", 0); });
    // What the bus has sent arrives before its end.
    bus_.reset();
    for (const auto* watch : {&memberWatch, &consoleWatch, &strangerWatch}) {
        EXPECT_EQ((*watch)->wait(), 1);
    }
    for (const OutputFile* output : {&member, &console}) {
        EXPECT_EQ(output->from(0).substr(0, expected.size()), expected);
    }
    EXPECT_EQ(stranger.from(0).find("topic"), std::string::npos) << stranger.from(0);
}

TEST_F(BusPolicy, aConsoleRunsAsItsUser)
{
    PseudoTerminal line;
    fs::permissions(line.device(), fs::perms(0666));
    const OutputFile log;
    const auto console = start(kConsole, "externalComd", {line.device()}, log);
    waitFor("the console", [&] {
        if (!console->running()) {
            throw std::runtime_error("the console ended: " + log.from(0));
        }
        return run(kMember, {"lpc", "call", "lpcExampledNoUse", "wpDispBtn", "RS232zone"}) == 0;
    });
    EXPECT_EQ(run(kMember, {"lpc", "call", "lpcExampledNoUse", "wpDispBtn", "Blink on"}), 0);
    EXPECT_EQ(line.takeOutputWith("\n"), "Blink on\r\n");
    EXPECT_EQ(run(kStranger, {"lpc", "call", "lpcExampledNoUse", "wpDispBtn", "Blink off"}), 1);
    line.type("Blink sta\r");
    EXPECT_EQ(line.takeOutputWith("\n"), "Blink on\r\n");
    for (const auto& entry : fs::directory_iterator(directory_.path() / "stores")) {
        struct stat status {};
        ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0640U) << entry.path();
        EXPECT_EQ(status.st_uid, 1U) << entry.path();
    }
    // A stranger reads none of it.
    EXPECT_EQ(run(kStranger, {"config", "get", "control.ledMode"}), 1);
}

}  // namespace
