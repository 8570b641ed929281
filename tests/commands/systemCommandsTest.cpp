// What transcripts cannot say of the network, account, information, maintenance and factory commands: calls on behalf
// of an event, reporters that no change reaches, the clock, pauses and time-outs, failures of the C library's side.
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

#include "console/commandEntry.h"
#include "platform/jsonToken.h"
#include "platform/lpc.h"
#include "platform/store.h"
#include "support/capturedReplies.h"
#include "support/outputFile.h"
#include "support/recordingPlatform.h"
#include "support/standIns.h"

namespace {

// The wrapped calls; see the link options.
struct Wrapped {
    timeval now{};
    std::vector<useconds_t> pauses;
    std::size_t runsAtPause = 0;
    std::string repliesAtPause;
    CapturedReplies* replies = nullptr;
    std::vector<int> waitsMs;
    int failingSets = 0;
    std::vector<std::string> integerQueries;
    std::vector<std::string> steps;  // what a command did, in order
    std::string repliesAtSteps;

    void note(const std::string& step)
    {
        if (const std::string reply = replies->take(); !reply.empty()) {
            steps.push_back("reply " + reply);
            repliesAtSteps += reply;
        }
        steps.push_back(step);
    }
};
Wrapped g_wrapped;

}  // namespace

extern "C" {
int __wrap_gettimeofday(timeval* now, void* /*zone*/)
{
    *now = g_wrapped.now;
    return 0;
}

int __wrap_usleep(useconds_t pauseUs)
{
    g_wrapped.pauses.push_back(pauseUs);
    g_wrapped.repliesAtPause = g_wrapped.replies->take();
    return 0;
}

int __real_lpc_completion_wait(lpc_completion* completion, int milliseconds);
int __wrap_lpc_completion_wait(lpc_completion* completion, int milliseconds)
{
    g_wrapped.waitsMs.push_back(milliseconds);
    return __real_lpc_completion_wait(completion, milliseconds);
}

int __real_json_token_object_walk_set_string(json_token* token, const char* path, const char* value);
int __wrap_json_token_object_walk_set_string(json_token* token, const char* path, const char* value)
{
    if (g_wrapped.failingSets > 0) {
        --g_wrapped.failingSets;
        return -1;
    }
    return __real_json_token_object_walk_set_string(token, path, value);
}

int __real_user_config_query_int(const char* document, int* value);
int __wrap_user_config_query_int(const char* document, int* value)
{
    g_wrapped.integerQueries.emplace_back(document);
    return __real_user_config_query_int(document, value);
}
}

// The wrapped calls whose order counts.
extern "C" {
int __real_user_config_update(const char* document);
int __wrap_user_config_update(const char* document)
{
    g_wrapped.note(std::string("settings ") + document);
    return __real_user_config_update(document);
}

int __real_user_status_update(const char* document);
int __wrap_user_status_update(const char* document)
{
    g_wrapped.note(std::string("status ") + document);
    return __real_user_status_update(document);
}

int __real_lsystem(const char* command);
int __wrap_lsystem(const char* command)
{
    g_wrapped.note(std::string("run ") + command);
    return __real_lsystem(command);
}

int __real_system(const char* command);
int __wrap_system(const char* command)
{
    g_wrapped.note(std::string("system ") + command);
    return __real_system(command);
}
}

namespace {

const CommandEntry& row(std::string_view name, std::string_view jsonTemplate = {})
{
    for (const CommandEntry& entry : kCommandTable) {
        if (entry.name == name && (jsonTemplate.empty() || entry.jsonTemplate == jsonTemplate)) {
            return entry;
        }
    }
    throw std::runtime_error("no such row");
}

class SystemCommands : public testing::Test {
protected:
    SystemCommands()
    {
        recording::reset();
        g_wrapped = {};
        g_wrapped.replies = &replies_;
    }

    // Runs a row's handler and gives what it replied.
    std::string run(const std::string& name, const std::string& args, int fromEvent)
    {
        const CommandEntry& entry = row(name);
        const std::string line = args.empty() ? name : name + ' ' + args;
        entry.handler(line.c_str(), entry.name, args.c_str(), fromEvent, entry.jsonTemplate);
        return takeReplies();
    }

    std::string reported(const CommandEntry& entry, const ReportValue& value)
    {
        entry.reporter(entry.name, value);
        return takeReplies();
    }

    std::string takeReplies() { return std::exchange(g_wrapped.repliesAtSteps, "") + replies_.take(); }

    static void give(const std::string& path, const std::string& json)
    {
        recording::put(recording::Store::settings, path, json);
    }

    CapturedReplies replies_;
};

std::vector<std::string> eventLines(const recording::Record& record)
{
    std::vector<std::string> lines;
    for (const recording::Event& event : record.events) {
        lines.push_back(event.from + ' ' + event.topic + ' ' + event.payload.value_or("(none)"));
    }
    return lines;
}

std::vector<std::string> callLines(const recording::Record& record)
{
    std::vector<std::string> lines;
    for (const recording::Call& call : record.calls) {
        lines.push_back(call.service + ' ' + call.method + ' ' + call.params.value_or("(none)"));
    }
    return lines;
}

using Lines = std::vector<std::string>;

// Calls on behalf of an event

TEST_F(SystemCommands, TextAndModeAnnounceTwiceForAnEventThatBringsNothingNew)
{
    const struct {
        const char* name;
        const char* args;
        const char* path;
        const char* json;
        const char* event;
    } cases[] = {
        {"IPDHCP", "on", "network.eth0.bootProto", "\"DHCP\"",
         R"(publisher networkUserConfigChanged {"network":{"eth0":{"bootProto":"DHCP"}}})"},
        {"IPDHCP", "off", "network.eth0.bootProto", "\"STATIC\"",
         R"(publisher networkUserConfigChanged {"network":{"eth0":{"bootProto":"STATIC"}}})"},
        {"SHostName", "rx", "network.netbios.hostname", "\"rx\"",
         R"(publisher networkUserConfigChanged {"network":{"netbios":{"hostname":"rx"}}})"},
        {"wpdebug", "rx", "system.systemDebugMode", "\"rx\"",
         R"(publisher systemUserConfigChanged {"system":{"systemDebugMode":"rx"}})"},
        {"Lock", "", "system.key.lock", "true",
         R"(publisher systemUserConfigChanged {"system":{"key":{"lock":true}}})"},
        {"Unlock", "", "system.key.lock", "false",
         R"(publisher systemUserConfigChanged {"system":{"key":{"lock":false}}})"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        give(test.path, test.json);
        EXPECT_EQ(run(test.name, test.args, 1), "");
        EXPECT_EQ(eventLines(recording::take()), (Lines{test.event, test.event}));
    }
}

TEST_F(SystemCommands, AChangeByAnEventIsAnnouncedByTheStoreAlone)
{
    EXPECT_EQ(run("IPDHCP", "on", 1), "");
    EXPECT_EQ(eventLines(recording::take()),
              Lines{R"(settings networkUserConfigChanged {"network":{"eth0":{"bootProto":"DHCP"}}})"});
    EXPECT_EQ(run("SHostName", "rx", 1), "");
    EXPECT_EQ(eventLines(recording::take()),
              Lines{R"(settings networkUserConfigChanged {"network":{"netbios":{"hostname":"rx"}}})"});
}

TEST_F(SystemCommands, StaticAddressesOfAnEventAreAnnouncedOnceAndNotEchoed)
{
    EXPECT_EQ(run("IPStatic", "10.0.0.2 255.0.0.0 10.0.0.1", 1), "");
    EXPECT_EQ(recording::take().updates.size(), 1U);
    EXPECT_EQ(run("IPStatic", "10.0.0.2 255.0.0.0 10.0.0.1", 1), "");
    const recording::Record record = recording::take();
    EXPECT_TRUE(record.updates.empty());
    const char* event = R"(publisher networkUserConfigChanged {"network":{"eth0":{"ipSettings":)"
                        R"({"ipaddr":"10.0.0.2","netmask":"255.0.0.0","gateway":"10.0.0.1"}}}})";
    EXPECT_EQ(eventLines(record), Lines{event});
}

TEST_F(SystemCommands, TelnetPortAndTimeoutOfAnEventAreAnnouncedOnceWhenUnchanged)
{
    give("network.telnet.telnetPort", "23");
    give("network.telnet.tcpipTimeout", "0");
    EXPECT_EQ(run("IPPort", "23", 1), "");
    recording::Record record = recording::take();
    EXPECT_EQ(eventLines(record),
              Lines{R"(publisher networkUserConfigChanged {"network":{"telnet":{"telnetPort":23}}})"});
    EXPECT_EQ(callLines(record), Lines{"networkd TelnetRestart 23"});

    for (const char* never : {"0", "never"}) {
        EXPECT_EQ(run("IPTimeout", never, 1), "");
        EXPECT_EQ(eventLines(recording::take()),
                  Lines{R"(publisher networkUserConfigChanged {"network":{"telnet":{"tcpipTimeout":0}}})"});
    }

    EXPECT_EQ(run("IPPort", "24", 1), "");
    record = recording::take();
    EXPECT_EQ(eventLines(record),
              Lines{R"(settings networkUserConfigChanged {"network":{"telnet":{"telnetPort":24}}})"});
    EXPECT_EQ(callLines(record), Lines{"networkd TelnetRestart 24"});
}

// The login mode ends the telnet sessions by a command of the C library, which only a stand-in program can see.
class Login : public SystemCommands {
protected:
    Login()
    {
        const std::string path = std::getenv("PATH");
        ::setenv("PATH", (standIns_.programDirectory() + ':' + path).c_str(), 1);
        path_ = path;
    }
    ~Login() override { ::setenv("PATH", path_.c_str(), 1); }

    std::string path_;
    TemporaryDirectory directory_;
    StandIns standIns_{directory_.path()};
};

TEST_F(Login, AnEventThatBringsNothingNewIsAnnouncedAndEndsNoSession)
{
    give("network.telnet.loginMode", "true");
    EXPECT_EQ(run("IPLogin", "on", 1), "");
    EXPECT_EQ(eventLines(recording::take()),
              Lines{R"(publisher networkUserConfigChanged {"network":{"telnet":{"loginMode":true}}})"});
    EXPECT_EQ(standIns_.takeCommands(), Lines{});
}

TEST_F(Login, TheReporterPrintsTheModeAndEndsTheSessionsWhateverTheValue)
{
    EXPECT_EQ(reported(row("IPLogin"), ReportValue::boolean(true)), "IPLogin on\r\n");
    EXPECT_EQ(standIns_.takeCommands(), Lines{"killall *cmdd"});
    EXPECT_EQ(reported(row("IPLogin"), ReportValue::boolean(false)), "IPLogin off\r\n");
    EXPECT_EQ(standIns_.takeCommands(), Lines{"killall *cmdd"});
    EXPECT_EQ(reported(row("IPLogin"), ReportValue::integer(2)), "");
    EXPECT_EQ(standIns_.takeCommands(), Lines{"killall *cmdd"});
    EXPECT_TRUE(recording::take().runs.empty());
}

TEST_F(Login, TheAnswerGoesOutBeforeTheSessionsEnd)
{
    run("IPLogin", "on", 0);
    EXPECT_EQ(g_wrapped.steps, (Lines{R"(settings {"network":{"telnet":{"loginMode":true}}})", "reply IPLogin on\r\n",
                                      "system killall *cmdd"}));
}

// Reporters

TEST_F(SystemCommands, TheModeReporterKnowsBothModesInAnyCaseOfLetters)
{
    const CommandEntry& entry = row("IPDHCP");
    EXPECT_EQ(reported(entry, ReportValue::text("DHCP")), "IPDHCP on\r\n");
    EXPECT_EQ(reported(entry, ReportValue::text("dhcp")), "IPDHCP on\r\n");
    EXPECT_EQ(reported(entry, ReportValue::text("STATIC")), "IPDHCP off\r\n");
    EXPECT_EQ(reported(entry, ReportValue::text("Static")), "IPDHCP off\r\n");
    EXPECT_EQ(reported(entry, ReportValue::text("BOOTP")), "");
    EXPECT_EQ(reported(entry, ReportValue::text("")), "");
    EXPECT_EQ(reported(entry, ReportValue::integer(1)), "");
}

TEST_F(SystemCommands, TheThreeAddressReportersMakeOneLine)
{
    std::string line = reported(row("IPStatic", R"({"network":{"eth0":{"ipSettings":{"ipaddr":"%s"}}}})"),
                                ReportValue::text("10.0.0.2"));
    line += reported(row("IPStatic", R"({"network":{"eth0":{"ipSettings":{"netmask":"%s"}}}})"),
                     ReportValue::text("255.0.0.0"));
    line += reported(row("IPStatic", R"({"network":{"eth0":{"ipSettings":{"gateway":"%s"}}}})"),
                     ReportValue::text("10.0.0.1"));
    EXPECT_EQ(line, "IPStatic 10.0.0.2 255.0.0.0 10.0.0.1\r\n");
}

TEST_F(SystemCommands, ThePortReporterRestartsTelnet)
{
    EXPECT_EQ(reported(row("IPPort"), ReportValue::integer(2323)), "IPPort 2323\r\n");
    EXPECT_EQ(callLines(recording::take()), Lines{"networkd TelnetRestart 2323"});
}

TEST_F(SystemCommands, OnlyThePortReporterRestartsTelnet)
{
    for (const CommandEntry& entry : kCommandTable) {
        if (std::string_view(entry.name) != "IPPort" && std::string_view(entry.name) != "IPLogin") {
            entry.reporter(entry.name, ReportValue::integer(1));
            EXPECT_EQ(callLines(recording::take()), Lines{}) << entry.name;
        }
    }
}

TEST_F(SystemCommands, TheTimeoutReporterPrintsNeverForNone)
{
    EXPECT_EQ(reported(row("IPTimeout"), ReportValue::integer(0)), "IPTimeout never\r\n");
    EXPECT_EQ(reported(row("IPTimeout"), ReportValue::integer(60)), "IPTimeout 60\r\n");
}

TEST_F(SystemCommands, TheHostNameReportersPrintNameAndValue)
{
    EXPECT_EQ(reported(row("SHostName"), ReportValue::text("rx")), "SHostName rx\r\n");
    EXPECT_EQ(reported(row("RHostName"), ReportValue::text("rx")), "RHostName rx\r\n");
}

// The clock

class UpTime : public SystemCommands {
protected:
    static constexpr const char* kLabel = "On/Up Time <dd HH:mm:ss>: ";

    // The up time of both reports, which must be the same; what stands there otherwise is left to transcripts.
    std::string shown(const std::string& bootTime, timeval now)
    {
        recording::put(recording::Store::status, "time.status.bootUpTime", bootTime);
        g_wrapped.now = now;
        const std::string lines = run("System", "sta", 0);
        const std::string line = run("System", "dev", 0);
        const std::string_view fixed = "HTTP Port: 80\r\n";
        EXPECT_TRUE(lines.starts_with(fixed));
        const std::string_view before = "%;%;%;%;%;%;HTTP Port: 80%;%;%;";
        const std::string_view after = "%;\r\n";
        EXPECT_TRUE(line.starts_with(before) && line.ends_with(after)) << line;
        std::string upTime = line.substr(before.size(), line.size() - before.size() - after.size());
        EXPECT_EQ(lines.substr(fixed.size()), upTime.empty() ? "" : upTime + "\r\n");
        return upTime;
    }
};

TEST_F(UpTime, IsDaysHoursMinutesAndSecondsOfTwoDigits)
{
    constexpr time_t kBoot = 1'700'000'000;
    const std::string boot = std::to_string(kBoot);
    const std::string label = kLabel;
    EXPECT_EQ(shown(boot, {kBoot, 0}), label + "00 00:00:00");
    EXPECT_EQ(shown(boot, {kBoot + 59, 999'999}), label + "00 00:00:59");
    EXPECT_EQ(shown(boot, {kBoot + 60, 0}), label + "00 00:01:00");
    EXPECT_EQ(shown(boot, {kBoot + 3'599, 0}), label + "00 00:59:59");
    EXPECT_EQ(shown(boot, {kBoot + 86'399, 0}), label + "00 23:59:59");
    EXPECT_EQ(shown(boot, {kBoot + 90'061, 0}), label + "01 01:01:01");
    EXPECT_EQ(shown(boot, {kBoot + 123L * 86'400, 0}), label + "123 00:00:00");
}

TEST_F(UpTime, CountsTheFractionsOfBothTimes)
{
    EXPECT_EQ(shown("1700000000.75", {1'700'000'010, 500'000}), std::string(kLabel) + "00 00:00:09");
    EXPECT_EQ(shown("1700000000.25", {1'700'000'010, 500'000}), std::string(kLabel) + "00 00:00:10");
}

TEST_F(UpTime, GoesOnWhenSecondsNoLongerFitInto32Bits)
{
    EXPECT_EQ(shown("2147483640", {2'147'483'648LL, 0}), std::string(kLabel) + "00 00:00:08");  // 2038-01-19
    EXPECT_EQ(shown("4294967290", {4'294'967'296LL, 0}), std::string(kLabel) + "00 00:00:06");  // 2106-02-07
    EXPECT_EQ(shown("1700000000", {4'294'967'296LL, 0}), std::string(kLabel) + "30034 08:14:56");
}

TEST_F(UpTime, OfABootTimeThatNoClockCanHaveIsLeftOut)
{
    EXPECT_EQ(shown("1e300", {1'700'000'000, 0}), "");
    EXPECT_EQ(shown("-1e300", {1'700'000'000, 0}), "");
}

TEST_F(SystemCommands, TheTelnetPortIsAskedForWithOneBraceTooMany)
{
    give("network.telnet.telnetPort", "23");
    EXPECT_NE(run("System", "sta", 0).find("Telnet Port: 23\r\n"), std::string::npos);
    ASSERT_FALSE(g_wrapped.integerQueries.empty());
    EXPECT_EQ(g_wrapped.integerQueries[0], R"({"network":{"telnet":{"telnetPort":0}}}})");
}

// What comes after what

TEST_F(SystemCommands, DebugAnswersBeforeItSetsTheFlagAndRunsTheLogger)
{
    run("debug", "on", 0);
    run("debug", "off", 0);
    EXPECT_EQ(g_wrapped.steps, (Lines{"reply debug on\r\n", R"(status {"system":{"debug":true}})",
                                      "run /mnt/mtd/bin/apploggertool -a console debug", "reply debug off\r\n",
                                      R"(status {"system":{"debug":false}})", "run /mnt/mtd/bin/apploggertool -d"}));
}

TEST_F(SystemCommands, ADebugToggleAnswersBeforeItSetsTheFlagAndRunsTheLogger)
{
    run("dbg977", "", 0);
    run("dbg977", "", 0);
    run("cypdbg", "", 0);
    EXPECT_EQ(g_wrapped.steps,
              (Lines{"reply Into 977 Debug Mode...\r\n", R"(settings {"system":{"dbg977":true}})",
                     "run mnt/mtd/bin/apploggertool -a console debug", "reply Leave 977 Debug Mode...\r\n",
                     R"(settings {"system":{"dbg977":false}})", "run mnt/mtd/bin/apploggertool -d",
                     "reply Into Debug Mode...\r\n", "settings ", "run mnt/mtd/bin/apploggertool -a console debug"}));
}

TEST_F(SystemCommands, TheLiveAddressIsToldBehindTheAnswer)
{
    recording::setFactoryData("MacAddr", "00:11:22:33:44:55");
    run("SFabMac", "00-11-22-33-44-55", 0);
    EXPECT_EQ(g_wrapped.steps, (Lines{"run /mnt/mtd/bin/factory_tool -w MacAddr 00:11:22:33:44:55",
                                      "reply SFabMac 00-11-22-33-44-55\r\n",
                                      R"(status {"network":{"eth0":{"macAddr":"00:11:22:33:44:55"}}})"}));
}

// Silence on standard output and error

TEST_F(SystemCommands, AnAddressThatCannotBeWrittenIsNotReportedAnywhere)
{
    const OutputFile messages;
    {
        const CapturedOutput captured(messages);
        recording::setRunStatus(1);
        EXPECT_EQ(run("SFabMac", "00-11-22-33-44-55", 0), "");
        recording::fail(recording::Fault::run);
        EXPECT_EQ(run("SFabMac", "00-11-22-33-44-55", 0), "");
    }
    EXPECT_EQ(messages.from(0), "");
    EXPECT_TRUE(recording::take().logs.empty());
}

TEST_F(SystemCommands, AnAccountDocumentThatCannotBeReadIsLoggedOnlyAtItsLevel)
{
    run("IPAddUser", "sta", 0);
    EXPECT_EQ(recording::take().logs.size(), 1U);
    recording::setLogLevel(5, false);
    run("IPAddUser", "sta", 0);
    EXPECT_TRUE(recording::take().logs.empty());
}

// Pauses and time-outs

TEST_F(SystemCommands, RebootWaitsThreeSecondsBehindItsAnswer)
{
    EXPECT_EQ(run("Reboot", "", 0), "");
    EXPECT_EQ(g_wrapped.repliesAtPause, "Reboot\r\n");
    EXPECT_EQ(g_wrapped.pauses, std::vector<useconds_t>{3'000'000});
    EXPECT_EQ(recording::take().runs, Lines{"reboot"});

    EXPECT_EQ(run("Reboot", "now", 0), "");
    EXPECT_EQ(g_wrapped.repliesAtPause, "Command FAILED: (Reboot now)\r\n");
    EXPECT_EQ(g_wrapped.pauses, (std::vector<useconds_t>{3'000'000, 3'000'000}));
    EXPECT_EQ(recording::take().runs, Lines{"reboot"});
}

TEST_F(SystemCommands, AddingAUserWaitsNineSecondsForItsAnswer)
{
    give("account.users", "[]");
    EXPECT_EQ(run("IPAddUser", "bob b0b", 0), "IPAddUser bob b0b\r\nTCP/IP user was added\r\n");
    EXPECT_EQ(g_wrapped.waitsMs, std::vector<int>{9'000});
}

// Fields that cannot be set

TEST_F(SystemCommands, AUserNameThatCannotBeSetIsReportedAndTheCommandGoesOn)
{
    give("account.users", "[]");
    g_wrapped.failingSets = 1;
    EXPECT_EQ(run("IPAddUser", "bob b0b", 0),
              "set_object: users[1] failed!IPAddUser bob b0b\r\nTCP/IP user was added\r\n");
    EXPECT_EQ(callLines(recording::take()), Lines{R"(systemd sshAddUser {"password":"b0b","level":"Guest"})"});
}

TEST_F(SystemCommands, BothFieldsThatCannotBeSetAreReported)
{
    give("account.users", "[]");
    g_wrapped.failingSets = 2;
    EXPECT_EQ(run("IPAddUser", "bob b0b", 0),
              "set_object: users[1] failed!set_object: users[1] failed!IPAddUser bob b0b\r\n"
              "TCP/IP user was added\r\n");
    EXPECT_EQ(callLines(recording::take()), Lines{R"(systemd sshAddUser {"level":"Guest"})"});
}

TEST_F(SystemCommands, ABadPasswordIsRefusedBehindANameThatCannotBeSet)
{
    give("account.users", "[]");
    g_wrapped.failingSets = 1;
    EXPECT_EQ(run("IPAddUser", "bob b-b", 0), "set_object: users[1] failed!Command FAILED: (IPAddUser bob b-b)\r\n");
    EXPECT_TRUE(recording::take().updates.empty());
}

}  // namespace
