// receiver-bench as its user meets it: fed by a script, typed at, ended in every way.
#include <algorithm>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

#include "benchTest.h"

namespace fs = std::filesystem;

namespace {

TEST_F(Bench, AnswersLinesHoweverTheyEndAndPrintsNothingElse)
{
    const Result result = feed("Blink on\rBlink sta\nVOUTMute sta\r\n\r\n\n   Blink off\nBlink nonsense\nBlink sta");
    EXPECT_EQ(result.output, "Blink on\r\nBlink on\r\nVOUTMute off\r\nBlink off\r\nCommand FAILED: (Blink nonsense)\r\n"
                             "Blink off\r\n");
    EXPECT_EQ(result.status, 0) << result.error;
    expectAllGone();
}

TEST_F(Bench, CarriesEveryByteToTheConsoleAndBack)
{
    const Result result = feed("Blink \xff\x01\x16\xc3\n\tBlink on\n" + std::string(3000, 'x') + "\nBlink sta\n");
    EXPECT_EQ(result.output,
              "Command FAILED: (Blink \xff\x01\x16\xc3)\r\nCommand FAILED: (\tBlink on)\r\nCommand FAILED: (" +
                  std::string(3000, 'x') + ")\r\nBlink off\r\n");
    EXPECT_EQ(result.status, 0) << result.error;
}

TEST_F(Bench, SaysWhatItStartedAndWhereWhenThereAreNoLines)
{
    const Result result = feed("");
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, 0);
    for (const std::string& text :
         {directory() + "/console", directory() + "/hdbt", directory() + "/externalComd.log",
          kPrograms + "/platformctl",
          "export PLATFORM=local:" + directory() + " DBUS_SESSION_BUS_ADDRESS=unix:path=" + directory() + "/bus",
          std::string("networkd"), std::string("displayControlTelnetClient")}) {
        EXPECT_NE(result.error.find(text), std::string::npos) << text << "\n" << result.error;
    }
    expectAllGone();
}

TEST_F(Bench, KeepsTheDaemonsOwnOutputInLogFiles)
{
    feed("Blink on\n");
    EXPECT_NE(contents(directory_.file("externalComd.log")).find("sourceType=2"), std::string::npos);
    EXPECT_NE(contents(directory_.file("internalComd.log")).find("sourceType=5"), std::string::npos);
}

TEST_F(Bench, WaitsForRepliesThatComeLater)
{
    // At the quiet gap, over the listener, or never: none is lost, and none swallows the line after it.
    const std::string script = "RS232zone[PWR ON\\r]\nBroadcast on\nBlink sta\nx RS232zone\nBlink sta\nRS232zone [x]\n"
                               "Broadcast off\nBlink sta\n";
    const std::string replies = "RS232zone[PWR ON\\r]\r\nBroadcast on\r\nBlink off\r\nBlink off\r\n"
                                "Command FAILED: (RS232zone [x])\r\nBroadcast off\r\nBlink off\r\n";
    std::string longScript;
    std::string allReplies;
    for (int i = 0; i < 5; ++i) {
        longScript += script;
        allReplies += replies;
    }
    const Result result = feed(longScript);
    EXPECT_EQ(result.output, allReplies);
    EXPECT_EQ(countLines(result.error, R"([displayControl] HexRS232zone " 50 57 52 20 4F 4E 0D")"), 5) << result.error;
}

TEST_F(Bench, DoesEveryCommandThatWouldChangeTheMachineHarmlessly)
{
    const Result result = feed("Reboot\nSFabMac 00-11-22-33-44-55\nRFabMac\nSFabSN it's \"$(a)\";b\nIPLogin on\n"
                               "CSpara [9600,7,1,1]\nCSpara sta\nCSpara [115200,8,0,1]\nIPAddUser joe secret1\n"
                               "IPPort 9001\nUSBSW 1\nBlink sta\n");
    EXPECT_EQ(result.output, "Reboot\r\nSFabMac 00-11-22-33-44-55\r\n00-11-22-33-44-55\r\nSFabSN it's \"$(a)\";b\r\n"
                             "IPLogin on\r\nCSpara [9600,7,1,1]\r\nCSpara[9600,7,1,1]\r\nCSpara [115200,8,0,1]\r\n"
                             "IPAddUser joe secret1\r\nTCP/IP user was added\r\nIPPort 9001\r\nUSBSW 1\r\n"
                             "Blink off\r\n");
    EXPECT_EQ(result.status, 0);
    for (const char* line :
         {"[command] reboot", "[command] /mnt/mtd/bin/factory_tool -w MacAddr 00:11:22:33:44:55",
          "[command] killall *cmdd", "[networkd] TelnetRestart \"9001\"", "[intermcud] trigerUsb \"OUTA\""}) {
        EXPECT_EQ(countLines(result.error, line), 1) << line << "\n" << result.error;
    }
    expectAllGone();
}

TEST_F(Bench, SeedsOnlyWhatIsAbsent)
{
    ASSERT_EQ(platformctl({"config", "set", "control.ledMode", "true"}).status, 0);
    ASSERT_EQ(platformctl({"config", "set", "account.users", "[]"}).status, 0);
    ASSERT_EQ(platformctl({"config", "set", "system.key", "\"odd\""}).status, 0);
    ASSERT_EQ(platformctl({"status", "set", "time.status.bootUpTime", "12"}).status, 0);
    ASSERT_EQ(platformctl({"factory", "set", "MacAddr", "00:01:02:03:04:05"}).status, 0);
    EXPECT_EQ(feed("Blink sta\n").output, "Blink on\r\n");
    EXPECT_EQ(platformctl({"config", "get", "account.users"}).output, "[]\n");
    EXPECT_EQ(platformctl({"config", "get", "system.key"}).output, "\"odd\"\n");
    EXPECT_EQ(platformctl({"config", "get", "system.uart.interface1.baudrate"}).output, "115200\n");
    EXPECT_EQ(platformctl({"status", "get", "time.status.bootUpTime"}).output, "12\n");
    EXPECT_EQ(platformctl({"status", "get", "system.slaveMcu.isReady"}).output, "true\n");
    EXPECT_EQ(platformctl({"factory", "get", "MacAddr"}).output, "\"00:01:02:03:04:05\"\n");
    EXPECT_EQ(platformctl({"factory", "get", "SerialNumber"}).output, "\"RX24A00123\"\n");
}

TEST_F(Bench, BootsAnewEachTime)
{
    const auto boot = [this] { return std::stoll(platformctl({"status", "get", "time.status.bootUpTime"}).output); };
    const std::time_t before = std::time(nullptr);
    feed("");
    const long long first = boot();
    EXPECT_GE(first, before);
    EXPECT_LE(first, std::time(nullptr));
    // As though the first run had been an hour ago.
    const std::string earlier = std::to_string(first - 3600);
    std::ofstream(directory_.file("bench.boot")) << earlier << '\n';
    ASSERT_EQ(platformctl({"status", "set", "time.status.bootUpTime", earlier}).status, 0);
    feed("");
    EXPECT_GE(boot(), first);
}

TEST_F(Bench, KeepsItsStoresBetweenRuns)
{
    EXPECT_EQ(feed("VOUTMute on\n").output, "VOUTMute on\r\n");
    EXPECT_EQ(feed("VOUTMute sta\n").output, "VOUTMute on\r\n");
}

TEST_F(Bench, RunsInTheDirectoryOfThePlatformVariable)
{
    const Result result = run({kBench}, {{"PLATFORM", "local:" + directory()}}, "Blink on\n");
    EXPECT_EQ(result.output, "Blink on\r\n");
    EXPECT_EQ(platformctl({"config", "get", "control.ledMode"}).output, "true\n");
}

TEST_F(Bench, TakesTheDirectoryAsAWordAndMakesIt)
{
    const std::string below = directory_.file("a new/place & more");
    const Result result = run({kBench, below}, {}, "Blink on\n");
    EXPECT_EQ(result.output, "Blink on\r\n") << result.error;
    EXPECT_TRUE(fs::exists(below + "/settings.db"));
}

TEST_F(Bench, RunsInADirectoryWhosePathIsTooLongForASocket)
{
    const std::string deep = directory_.file(std::string(120, 'd'));
    const Result result = run({kBench, deep}, {}, "Blink on\n");
    EXPECT_EQ(result.output, "Blink on\r\n") << result.error;
}

TEST_F(Bench, RemovesADirectoryThatWasItsOwn)
{
    // TMPDIR tells where such a directory is made.
    Result result = run({"/usr/bin/env", "-u", "PLATFORM", kBench}, {{"TMPDIR", directory()}}, "Blink on\n");
    EXPECT_EQ(result.output, "Blink on\r\n") << result.error;
    EXPECT_NE(result.error.find(directory() + "/receiver-bench-"), std::string::npos) << result.error;
    EXPECT_TRUE(fs::is_empty(directory()));
}

TEST_F(Bench, LeavesOtherFilesInItsDirectoryAlone)
{
    for (const char* name : {"bus.txt", "stand-ins.txt"}) {
        std::ofstream(directory_.file(name)) << "mine";
    }
    fs::create_directory(directory_.file("stand-ins"));
    std::ofstream(directory_.file("stand-ins/reboot-notes")) << "mine";
    EXPECT_EQ(feed("Blink on\n").status, 0);
    for (const char* name : {"bus.txt", "stand-ins.txt", "stand-ins/reboot-notes"}) {
        EXPECT_EQ(contents(directory_.file(name)), "mine") << name;
    }
    std::ofstream(directory_.file("console")) << "mine";
    const Result result = feed("Blink on\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.error.find("console' cannot be made"), std::string::npos) << result.error;
    EXPECT_EQ(contents(directory_.file("console")), "mine");
}

TEST_F(Bench, TalksToAPersonAtATerminal)
{
    const auto bench = atTerminal();
    EXPECT_EQ(bench->output(), "");
    EXPECT_NE(bench->error().find("Ctrl-D leaves"), std::string::npos);
    EXPECT_NE(bench->error().find("help lists them"), std::string::npos);
    bench->write("help\n");
    bench->awaitOutput("x1AVx2\r");
    bench->write("VOUTMute on\n");
    bench->awaitOutput("\nVOUTMute on\r\r\n");  // after the echo of the terminal
    EXPECT_EQ(platformctl({"config", "get", "audio.audOut.allMute"}).output, "true\n");
    bench->write("Blink nonsense\n");
    bench->awaitOutput("Command FAILED: (Blink nonsense)\r");
    bench->write("RS232zone[x]\n");
    bench->awaitError("[displayControl] HexRS232zone \" 78\"\n");
    bench->write("\x03");  // Ctrl-C
    EXPECT_EQ(bench->awaitEnd(), 0);
    expectAllGone();
}

TEST_F(Bench, LeavesAtTheEndOfTypedInput)
{
    const auto bench = atTerminal();
    bench->write("Blink sta\n\x04");  // Ctrl-D
    EXPECT_EQ(bench->awaitEnd(), 0);
    EXPECT_NE(bench->output().find("\nBlink off\r"), std::string::npos) << bench->output();
    expectAllGone();
}

TEST_F(Bench, LeavesNothingRunningWhenItsTerminalIsClosed)
{
    auto bench = atTerminal();
    bench->closeTerminal();
    EXPECT_EQ(bench->awaitEnd(), 0);
    expectAllGone();
}

TEST_F(Bench, LeavesNothingRunningWhenItIsKilled)
{
    const auto bench = atTerminal();
    EXPECT_GE(processesNaming(directory()).size(), 4U) << "the bench, its bus and two daemons";
    bench->signal(SIGKILL);
    EXPECT_EQ(bench->awaitEnd(), 128 + SIGKILL);
    EXPECT_TRUE(awaitNoProcessNaming(directory()));
    // The next one finds what is left and is not disturbed by it.
    EXPECT_EQ(feed("Blink sta\n").output, "Blink off\r\n");
    expectAllGone();
}

TEST_F(Bench, CleansUpWhenAScriptIsCutShort)
{
    for (const Words& options : {Words{}, Words{"--raw"}}) {
        for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
            Program bench(command(options), {});
            bench.write("Blink sta\r");
            bench.awaitOutput("Blink off\r\n");
            bench.signal(signal);
            EXPECT_EQ(bench.awaitEnd(), 128 + signal);
            expectAllGone();
        }
    }
}

TEST_F(Bench, AnswersEachLineOfAPipeAsItComes)
{
    Program bench(command(), {});
    bench.write("Blink on\n");
    bench.awaitOutput("Blink on\r\n");
    bench.write("Blink sta");
    bench.write("\r");
    bench.awaitOutput("Blink on\r\nBlink on\r\n");
    bench.write("\nBlink off");
    bench.closeInput();
    EXPECT_EQ(bench.awaitEnd(), 0);
    EXPECT_EQ(bench.output(), "Blink on\r\nBlink on\r\nBlink off\r\n");
}

TEST_F(Bench, RefusesADirectoryInWhichAnotherRuns)
{
    const auto first = atTerminal();
    const Result second = feed("Blink sta\n");
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.output, "");
    EXPECT_NE(second.error.find("another receiver-bench runs in"), std::string::npos) << second.error;
    first->write("Blink sta\n");
    first->awaitOutput("\nBlink off\r");
}

TEST_F(Bench, ServesThePortsUnderTheirNames)
{
    const auto bench = atTerminal();
    EXPECT_TRUE(fs::is_character_file(fs::canonical(directory_.file("console"))));
    EXPECT_TRUE(fs::is_character_file(fs::canonical(directory_.file("hdbt"))));
    EXPECT_EQ(platformctl({"lpc", "call", "lpcExampledNoUse2", "RS232zone", "to the far end"}).status, 0);
    bench->awaitError("[hdbt] \"to the far end\"\n");
    EXPECT_EQ(platformctl({"lpc", "call", "systemd", "sshAddUser", "{}"}).output, "ok\n");
    bench->awaitError("[systemd] sshAddUser \"{}\"\n");
    EXPECT_EQ(platformctl({"lpc", "call", "intermcud", "TrigCEC"}).output, "");
    bench->awaitError("[intermcud] TrigCEC\n");
}

TEST_F(Bench, RefusesAccountsThatTheSystemHasItself)
{
    const Result result = feed("IPAddUser bob b0b\nIPAddUser daemon x\nIPDelUser bob\nIPAddUser sta\n");
    EXPECT_EQ(result.output, "IPAddUser bob b0b\r\nTCP/IP user was added\r\n"
                             "IPAddUser daemon x\r\nCommand FAILED: (IPAddUser daemon x)\r\n"
                             "IPDelUser bob\r\nTCP/IP user was deleted\r\n"
                             "TCP/IP username & password list:\r\n - admin & admin\r\n - daemon & x\r\n -\r\n");
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_NE(result.error.find("[systemd] sshDelUser \"bob\"\n"), std::string::npos) << result.error;
}

/// What a program that a daemon starts finds in its environment.
Environment environmentOf(pid_t pid)
{
    Environment environment;
    std::istringstream stream(contents("/proc/" + std::to_string(pid) + "/environ"));
    for (std::string entry; std::getline(stream, entry, '\0');) {
        const auto equals = entry.find('=');
        environment[entry.substr(0, equals)] = entry.substr(equals + 1);
    }
    return environment;
}

TEST_F(Bench, KeepsCommandsFromChangingTheMachine)
{
    const auto bench = atTerminal();
    const auto daemons = processesNaming(directory() + "/console");
    ASSERT_EQ(daemons.size(), 1U);
    const Environment inside = environmentOf(daemons.front());
    const auto shell = [&](const std::string& line) { return run({inside.at("PLATFORM_SHELL"), "-c", line}, inside); };

    EXPECT_EQ(shell("reboot").status, 0);
    bench->awaitError("[command] reboot\n");
    const std::string trace = directory_.file("trace");
    EXPECT_EQ(shell("touch " + trace).status, 0);
    EXPECT_EQ(shell("echo x > " + trace).status, 0);
    bench->awaitError("[command] echo x > " + trace + "\n");
    EXPECT_FALSE(fs::exists(trace));

    const Result killall = run({"/bin/sh", "-c", "killall *cmdd && reboot -f && shutdown now"}, inside);
    EXPECT_EQ(killall.status, 0) << killall.error;
    EXPECT_EQ(killall.output + killall.error, "");
    bench->awaitError("[command] killall *cmdd\n");
    bench->awaitError("[command] reboot -f\n");
    bench->awaitError("[command] shutdown now\n");
    EXPECT_EQ(run({"/bin/sh", "-c", "date -u -d @0 +%Y"}, inside).output, "1970\n");
    EXPECT_TRUE(bench->running());
}

TEST_F(Bench, CarriesOutTheFactoryToolOnItsOwnFactoryData)
{
    const auto bench = atTerminal();
    const Environment inside = environmentOf(processesNaming(directory() + "/console").at(0));
    const auto shell = [&](const std::string& line) {
        return run({inside.at("PLATFORM_SHELL"), "-c", line}, inside).status;
    };
    EXPECT_EQ(shell("/mnt/mtd/bin/factory_tool -w MacAddr 00:11:22:33:44:55"), 0);
    EXPECT_EQ(shell(R"(/mnt/mtd/bin/factory_tool -w SerialNumber 'a b;$(c)'\''"d')"), 0);
    bench->awaitError(R"([command] /mnt/mtd/bin/factory_tool -w SerialNumber 'a b;$(c)'\''"d')");
    EXPECT_EQ(platformctl({"factory", "get", "MacAddr"}).output, "\"00:11:22:33:44:55\"\n");
    EXPECT_EQ(platformctl({"factory", "get", "SerialNumber"}).output, "\"a b;$(c)'\\\"d\"\n");
    EXPECT_NE(shell("/mnt/mtd/bin/factory_tool -r MacAddr x"), 0);
    EXPECT_NE(shell("/mnt/mtd/bin/factory_tool -w MacAddr"), 0);
    EXPECT_NE(shell("/mnt/mtd/bin/factory_tool -w MacAddr x; reboot"), 0);
    EXPECT_EQ(platformctl({"factory", "get", "MacAddr"}).output, "\"00:11:22:33:44:55\"\n");
}

/// The bench beside a daemon of the test's own making.
class BenchWithAnotherDaemon : public Bench {
protected:
    void install(const std::string& daemon) const
    {
        fs::create_directory(directory_.file("bin"));
        fs::copy_file(kBench, directory_.file("bin/receiver-bench"));
        fs::copy_file(kPrograms + "/platformctl", directory_.file("bin/platformctl"));
        if (!daemon.empty()) {
            for (const char* name : {"bin/externalComd", "bin/internalComd"}) {
                std::ofstream(directory_.file(name)) << daemon;
                fs::permissions(directory_.file(name), fs::perms::owner_all);
            }
        }
    }

    [[nodiscard]] Result feedInstalled(std::string_view script) const
    {
        return run({directory_.file("bin/receiver-bench"), "--dir", directory_.file("place")}, {}, script);
    }
};

TEST_F(BenchWithAnotherDaemon, RunsFromAnyPrefix)
{
    install({});
    for (const char* name : {"externalComd", "internalComd"}) {
        fs::copy_file(kPrograms + "/" + name, directory_.file("bin/" + std::string(name)));
    }
    EXPECT_EQ(feedInstalled("Blink on\n").output, "Blink on\r\n");
}

TEST_F(BenchWithAnotherDaemon, SaysWhyAPartDoesNotStart)
{
    install("#!/bin/sh\necho first line\necho the port is on fire >&2\nexit 3\n");
    const Result result = feedInstalled("Blink on\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.error.find("Comd ended with status 3"), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("the port is on fire"), std::string::npos) << result.error;
    EXPECT_TRUE(awaitNoProcessNaming(directory_.file("place")));
}

TEST_F(BenchWithAnotherDaemon, SaysWhichProgramIsMissing)
{
    install({});
    const Result result = feedInstalled("Blink on\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.error.find("externalComd is missing beside"), std::string::npos) << result.error;
}

TEST_F(Bench, EndsWhenADaemonDies)
{
    Program bench(command(), {});
    bench.write("Blink sta\n");
    bench.awaitOutput("Blink off\r\n");
    for (const pid_t pid : processesNaming(directory() + "/console")) {
        kill(pid, SIGKILL);
    }
    EXPECT_EQ(bench.awaitEnd(), 1);
    EXPECT_NE(bench.error().find("externalComd was ended by signal 9"), std::string::npos) << bench.error();
    expectAllGone();
}

TEST_F(Bench, StopsAScriptWhenTheConsolesPortIsGone)
{
    Program bench(command(), {});
    bench.write("Blink sta\n");
    bench.awaitOutput("Blink off\r\n");
    EXPECT_EQ(platformctl({"lpc", "call", "lpcExampledNoUse", "UartReset"}).status, 0);
    bench.write("Blink on\nBlink sta\n");
    EXPECT_EQ(bench.awaitEnd(), 1);
    EXPECT_EQ(bench.output(), "Blink off\r\n");
    const auto lines = linesOf(bench.error());
    EXPECT_NE(lines.back().find("receiver-bench: the console's port is gone"), std::string::npos) << bench.error();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const auto& line) { return line.starts_with("receiver-bench: "); }),
              2)
        << bench.error();
    expectAllGone();
}

TEST_F(Bench, LeavesTheTerminalWhenTheConsolesPortIsGone)
{
    const auto bench = atTerminal();
    EXPECT_EQ(platformctl({"lpc", "call", "lpcExampledNoUse", "UartReset"}).status, 0);
    bench->write("Blink sta\n");
    EXPECT_EQ(bench->awaitEnd(), 1);
    EXPECT_NE(bench->error().find("receiver-bench: the console's port is gone"), std::string::npos) << bench->error();
    expectAllGone();
}

TEST_F(Bench, ExplainsItself)
{
    const Result help = run({kBench, "--help"}, {});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.output.find("--dir DIR"), std::string::npos) << help.output;
    EXPECT_NE(help.output.find("Exit status"), std::string::npos);
    EXPECT_EQ(run({kBench, "--version"}, {}).output, "receiver-bench " RECEIVER_VERSION "\n");
    for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
             {kBench, "--dri", directory()}, {kBench, directory(), "more"}, {kBench, "--dir"}, {kBench, ""}}) {
        const Result result = run(wrong, {});
        EXPECT_EQ(result.status, 2) << result.error;
        EXPECT_EQ(linesOf(result.error).size(), 1U) << result.error;
    }
}

}  // namespace
