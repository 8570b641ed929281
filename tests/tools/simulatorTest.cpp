// receiver-bench as the receiver that a control-system programmer scripts against.
#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <poll.h>
#include <regex>
#include <termios.h>

#include "bench/pseudoTerminal.h"
#include "benchTest.h"
#include "tcpClient.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Simulator : public Bench {
protected:
    /// Serving on a TCP port, which `address` is.
    [[nodiscard]] std::unique_ptr<Program> serving(std::string& address, Words options = {}) const
    {
        options.insert(options.end(), {"--tcp", "127.0.0.1:0"});
        auto bench = std::make_unique<Program>(command(options), Environment{});
        address = bench->awaitOutput("\n");
        address.pop_back();
        return bench;
    }

    static void expectEndsBySignal(Program& bench)
    {
        bench.signal(SIGINT);
        EXPECT_EQ(bench.awaitEnd(), 0) << bench.error();
    }

    [[nodiscard]] std::string write(const std::string& name, std::string_view text) const
    {
        std::ofstream(directory_.file(name)) << text;
        return directory_.file(name);
    }

    [[nodiscard]] static Result runScript(const std::string& file, Words options = {})
    {
        options.insert(options.begin(), {kBench, "--script", file});
        return run(options, {});
    }
};

/// The trace's lines without their times.
std::vector<std::string> traced(const std::string& error)
{
    static const std::regex kLine(R"( *\d+\.\d{3} (.*))");
    std::vector<std::string> lines;
    for (const std::string& line : linesOf(error)) {
        std::smatch parts;
        if (std::regex_match(line, parts, kLine)) {
            lines.push_back(parts[1]);
        }
    }
    return lines;
}

TEST_F(Simulator, ServesOneTcpClientAfterTheOther)
{
    std::string address;
    const auto bench = serving(address);
    EXPECT_NE(bench->error().find("the external console is served on " + address), std::string::npos) << bench->error();
    {
        TcpClient first(address);
        first.send("Blink on\r");
        first.await("Blink on\r\n");
        TcpClient second(address);
        EXPECT_EQ(second.awaitEnd(), "");
        first.send("Blink sta\r\nRS232zone[x]\r");
        first.endSending();
        EXPECT_EQ(first.awaitEnd(), "Blink on\r\nBlink on\r\nRS232zone[x]\r\n");
    }
    TcpClient third(address);
    third.send("VOUT");
    third.send("Mute on\n");
    third.await("VOUTMute on\r\n");
    EXPECT_EQ(platformctl({"event", "publish", "uartProjectorEvent", "\xff unsolicited"}).status, 0);
    third.await("\xff unsolicited");
    expectEndsBySignal(*bench);
    EXPECT_EQ(third.awaitEnd(), "VOUTMute on\r\n\xff unsolicited");
    expectAllGone();
}

TEST_F(Simulator, GivesASerialDeviceToTheDaemon)
{
    const PseudoTerminal device;  // stands for a serial device with a control system at its other end
    Program bench(command({"--device", device.device()}), {});
    bench.awaitError("the external console is served on " + device.device() + "\n");
    std::string seen;
    const auto exchange = [&](std::string_view typed, std::string_view reply) {
        device.write(typed);
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (seen.find(reply) == std::string::npos && std::chrono::steady_clock::now() < end) {
            pollfd readable{.fd = device.descriptor(), .events = POLLIN, .revents = 0};
            poll(&readable, 1, 100);
            seen += device.read();
        }
    };
    const auto speed = [&] {
        const UniqueFd port(open(device.device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        termios settings{};
        tcgetattr(port.get(), &settings);
        return cfgetospeed(&settings);
    };
    exchange("Blink on\r", "Blink on\r\n");
    EXPECT_EQ(speed(), static_cast<speed_t>(B115200));
    exchange("CSpara [9600,8,0,1]\r", "CSpara [9600,8,0,1]\r\n");
    // The port is set up again after the reply; what was typed until then is discarded.
    EXPECT_TRUE(becomesTrue([&] { return speed() == static_cast<speed_t>(B9600); }));
    exchange("Blink sta\r", "Blink on\r\nCSpara [9600,8,0,1]\r\nBlink on\r\n");
    EXPECT_EQ(seen, "Blink on\r\nCSpara [9600,8,0,1]\r\nBlink on\r\n") << "and nothing of the bench's own";
    EXPECT_EQ(platformctl({"config", "get", "control.ledMode"}).output, "true\n");
    expectEndsBySignal(bench);
    expectAllGone();
}

TEST_F(Simulator, RefusesWhatIsNoSerialDevice)
{
    for (const auto& [device, reason] : std::vector<std::pair<std::string, std::string>>{
             {"/dev/null", "is no serial device; name one such as /dev/ttyUSB0"},
             {directory() + "/none", "cannot be opened: No such file or directory; name a serial device"}}) {
        const Result result = feed("", {"--device", device});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error, HasSubstr(reason));
    }
}

TEST_F(Simulator, IsAPlainPipeToThePort)
{
    const Result result = feed("Blink on\rBlink \xff\rBlink s\nBlink sta", {"--raw"});
    EXPECT_EQ(result.output, "Blink on\r\nCommand FAILED: (Blink \xff)\r\nCommand FAILED: (Blink s)\r\n");
    EXPECT_EQ(result.status, 0);
    Program terminal(command({"--raw"}), {}, Program::Input::terminal);
    terminal.awaitError("Ctrl-] leaves.\n");
    terminal.write("Blink sta\r");
    terminal.awaitOutput("Blink on\r\r\n");
    terminal.write("\x03\r");  // Ctrl-C is a byte as any other
    terminal.awaitOutput("Command FAILED: (\x03)\r");
    terminal.write("\x1d");
    EXPECT_EQ(terminal.awaitEnd(), 0);
    EXPECT_EQ(terminal.output(), "Blink on\r\r\nCommand FAILED: (\x03)\r\r\n") << "without echo";
}

TEST_F(Simulator, TracesAllThatHappens)
{
    const Result result = feed("VOUTMute on\nIPPort 9001\nUSBSW 1\nCSpara [9600,7,0,1]\nReboot\n",
                               {"--trace", "--peer", "networkd=fail", "--peer", "intermcud=absent"});
    EXPECT_EQ(result.status, 0) << result.error;
    const auto lines = traced(result.error);
    const auto has = [&](const std::string& line) {
        EXPECT_TRUE(std::find(lines.begin(), lines.end(), line) != lines.end()) << line << "\n" << result.error;
    };
    const std::vector<std::string> first(lines.begin(), lines.begin() + 4);
    EXPECT_THAT(
        first,
        ElementsAre("console      > VOUTMute on", "externalComd store settings audio.audOut.allMute true",
                    R"(externalComd event settings audioUserConfigChanged {"audio":{"audOut":{"allMute":true}}})",
                    "console      < VOUTMute on"));
    has("externalComd call networkd TelnetRestart 9001");
    has("externalComd failed networkd TelnetRestart The stand-in was told to fail");
    has("externalComd call intermcud trigerUsb OUTA");
    has("externalComd store settings system.uart.interface1.databit 7");
    has("shell        run reboot");
    EXPECT_EQ(result.error.find("receiver-bench mark"), std::string::npos) << result.error;
    EXPECT_EQ(result.error.find('\x1b'), std::string::npos) << "coloured, without a terminal";
}

TEST_F(Simulator, TracesWhatOthersDoAndHowLateAPeerIs)
{
    std::string address;
    const auto bench = serving(address, {"--trace", "--peer", "networkd=slow:150", "--peer", "wpcmdd=silent"});
    ASSERT_EQ(platformctl({"status", "set", "video.vidIn.hdmiIn.hdmiIn1.connected", "true"}).status, 0);
    bench->awaitError("store status video.vidIn.hdmiIn.hdmiIn1.connected true\n");
    ASSERT_EQ(platformctl({"lpc", "call", "lpcExampledNoUse", "wpDispBtn", "IPPort 9002"}).status, 0);
    bench->awaitError("call lpcExampledNoUse wpDispBtn IPPort 9002\n");
    bench->awaitError("answer networkd TelnetRestart\n");
    bench->awaitError("answer lpcExampledNoUse wpDispBtn\n");
    ASSERT_EQ(platformctl({"lpc", "call", "lpcExampledNoUse2", "RS232zone", "to the far end"}).status, 0);
    bench->awaitError(" internalComd hdbt to the far end\n");
    // A busy machine may show the trace a call later than the peer, and its answer in time: the longest of some counts.
    double longest = 0;
    for (int port = 9003; longest < 0.149 && port < 9023; ++port) {
        const std::string number = std::to_string(port);
        ASSERT_EQ(platformctl({"lpc", "call", "lpcExampledNoUse", "wpDispBtn", "IPPort " + number}).status, 0);
        ASSERT_EQ(platformctl({"event", "publish", "seen", number}).status, 0);
        bench->awaitError(" seen " + number + "\n");
        const std::vector<std::string> lines = linesOf(bench->error());
        const auto lineFrom = [&](auto start, const std::string& end) {
            return std::find_if(start, lines.end(), [&](const std::string& line) { return line.ends_with(end); });
        };
        const auto call = lineFrom(lines.begin(), "call networkd TelnetRestart " + number);
        const auto answer = lineFrom(call, "answer networkd TelnetRestart");
        ASSERT_TRUE(answer != lines.end()) << bench->error();
        longest = std::max(longest, std::stod(*answer) - std::stod(*call));
    }
    EXPECT_GE(longest, 0.149);
    expectEndsBySignal(*bench);
}

TEST_F(Simulator, ChangesAsARoomDoes)
{
    std::string address;
    const auto bench = serving(address);
    TcpClient client(address);
    const auto happens = [&](const std::string& document, const std::string& line, const std::string& reply) {
        EXPECT_EQ(platformctl({"status", "load", ROOM_DIRECTORY "/" + document}).status, 0) << document;
        client.send(line + "\r");
        client.await(reply + "\r\n");
    };
    happens("sourceOnHdmi.json", "InputFormat2", "InputFormat2 3840x2160p60:8bit:YUV420");
    happens("noSourceOnHdmi.json", "InputFormat2", "InputFormat2 --:--:--");
    happens("noSourceOnLink.json", "InputFormat1", "InputFormat1 --:--:--");
    happens("sourceOnLink.json", "InputFormat1", "InputFormat1 1920x1080p60:8bit:RGB");
    happens("displayBusy.json", "TrigRS1 on\rBlink sta", "Blink off");
    EXPECT_EQ(bench->error().find("[displayControl]"), std::string::npos) << bench->error();
    EXPECT_EQ(platformctl({"status", "load", ROOM_DIRECTORY "/displayFree.json"}).status, 0);
    client.send("TrigRS1 on\r");
    bench->awaitError("[displayControl] SetCmdOn ");
    expectEndsBySignal(*bench);
}

TEST_F(Simulator, StartsFromAStateAndSavesOne)
{
    const std::string saved = directory_.file("saved.json");
    const std::string part =
        write("part.json", R"({"settings":{"control":{"ledMode":true}},"factory":{"SerialNumber":"x"}})");
    EXPECT_EQ(feed("Blink sta\nVOUTMute on\n", {"--state", part, "--save", saved}).output,
              "Blink on\r\nVOUTMute on\r\n");
    EXPECT_THAT(contents(saved), HasSubstr("\"SerialNumber\": \"x\""));
    EXPECT_EQ(contents(saved).find("bootUpTime"), std::string::npos) << "each receiver has its own";
    // Another receiver goes on where that one ended, and its state is the same.
    const TemporaryDirectory other;
    const std::string again = directory_.file("again.json");
    const Result result =
        run({kBench, other.path(), "--state", saved, "--save", again}, {}, "Blink sta\nVOUTMute sta\nRFabSN\n");
    EXPECT_EQ(result.output, "Blink on\r\nVOUTMute on\r\nx\r\n") << result.error;
    const auto withoutTime = [](const std::string& text) {
        return std::regex_replace(text, std::regex(R"("upOnTime": ?"[^"]*")"), "");
    };
    EXPECT_EQ(withoutTime(contents(again)), withoutTime(contents(saved)));
}

TEST_F(Simulator, SaysWhatIsWrongWithAState)
{
    for (const auto& [text, reason] : std::vector<std::pair<const char*, const char*>>{
             {"{\"settings\":", "no JSON"},
             {"[]", "no JSON object"},
             {"{\"setings\":{}}", "a state has the objects settings, status and factory, not 'setings'"},
             {"{\"factory\":{\"MacAddr\":1}}", "the factory item 'MacAddr' is no string"},
             {"{\"settings\":{\"a.b\":1}}", "'a.b' is no area; a name holds no dot"}}) {
        const Result result = feed("Blink sta\n", {"--state", write("state.json", text)});
        EXPECT_EQ(result.status, 1) << text;
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(linesOf(result.error).back(), HasSubstr(reason)) << result.error;
    }
    EXPECT_EQ(feed("", {"--state", directory_.file("none")}).status, 1);
    const Result unsaved = feed("", {"--save", directory_.file("none/state.json")});
    EXPECT_EQ(unsaved.status, 1);
    EXPECT_THAT(unsaved.error, HasSubstr("cannot be written: No such file or directory; name with --save a file"));
    const Result unread = feed("", {"--state", directory_.file("none")});
    EXPECT_THAT(unread.error, HasSubstr("cannot be read: No such file or directory; name with --state a file"));
}

TEST_F(Simulator, SaysWhereItCouldWriteInstead)
{
    const Result unrecorded = feed("", {"--record", directory_.file("none/session")});
    EXPECT_EQ(unrecorded.status, 1);
    EXPECT_THAT(unrecorded.error, HasSubstr("cannot be written: No such file or directory; name with --record a file"));
    for (const char* place : {"/dev/null/place", "/proc"}) {
        const Result result = run({kBench, place}, {});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(linesOf(result.error).size(), 1U) << result.error;
        EXPECT_THAT(result.error, HasSubstr("; name with --dir a directory that is yours, or can be made"));
    }
    const Result result = run({kBench}, {{"TMPDIR", "/none"}});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, HasSubstr("; name with --dir a directory that is yours, or can be made"));
}

constexpr char kScript[] = R"(== what a receiver leaves the factory with
given state factory
> Blink sta
< Blink off

== nothing but what is given
> Blink sta
given settings control.ledMode true
> Blink sta
< Blink on
> Blink off
< Blink off
event settings controlUserConfigChanged {"control":{"ledMode":false}}
store settings control.ledMode false

== the link's console
given role internal
lpc RS232zone to the far end
<raw to the far end
)";

TEST_F(Simulator, RunsATranscript)
{
    const Result result = runScript(write("good.transcript", kScript));
    EXPECT_EQ(result.output, "3 scenarios went as written\n");
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Simulator, ShowsWhereATranscriptGoesOtherwise)
{
    const std::string file = write("wrong.transcript", R"(== a receiver that replies otherwise
> Blink on
< Blink on
event settings controlUserConfigChanged {"control":{"ledMode":true}}
> VOUTMute on
< VOUTMute off
call networkd TelnetRestart

== a fault
given fail update
> Blink on
)");
    Result result = runScript(file);
    EXPECT_EQ(result.output, file + R"(:1: a receiver that replies otherwise
    > Blink on
    < Blink on
    event settings controlUserConfigChanged {"control":{"ledMode":true}}
    > VOUTMute on
  - < VOUTMute off
  + < VOUTMute on
  + event settings audioUserConfigChanged {"audio":{"audOut":{"allMute":true}}}
  - call networkd TelnetRestart
line 5: - is what was expected, + what was seen
)" + file + R"(:9: a fault
    not run: faults of the platform and log levels can be had in the unit tests alone (line 10: given fail update)
0 scenarios went as written, 1 scenario otherwise, 1 scenario not run
)");
    EXPECT_EQ(result.status, 1);
    result = runScript(write("replies.transcript", "== x\n> VOUTMute on\n< VOUTMute on\n"), {"--replies-only"});
    EXPECT_EQ(result.output, "1 scenario went as written\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Simulator, SaysWhyAScriptCannotBeRun)
{
    for (const auto& [text, reason] : std::vector<std::pair<const char*, const char*>>{
             {"== x\n> Blink on\nevnt none\n",
              "script:3: unknown keyword evnt; a line begins with #, ==, >, >>, <, <lf, <raw, given, lpc, publish, "
              "event, call, "
              "run, store, print or log; tests/transcripts/README.md gives the format, installed as "
              "/usr/share/doc/receiver-bench/transcripts.md\n"},
             {"== x\ngiven peers networkd x fails\n> Blink on\n",
              "unknown given peers; what can be given is settings, status, factory, state, role, peer, run, log, nolog "
              "or "
              "fail; "},
             {"== x\ngiven peer networkd x dies\n> Blink on\n",
              "unknown answer dies; it is one of answers TEXT, completes, fails, absent, silent; "},
             {"== x\ngiven fail store\n> Blink on\n", "unknown fault store; what can fail is one of call, factory, "
                                                      "publish, query, run, status-update, update; "},
             {"== x\ngiven fail update often\n> Blink on\n",
              "unknown fault word often; given fail takes one of the calls, for query a PATH, and a number of times; "},
             {"> Blink on\n", "script:1: no scenario begun"},
             {"# nothing\n", "script holds no scenario; one begins with '== TITLE'"},
             {"== x\ngiven state none.json\n> Blink on\n", "script:2: cannot read the state "}}) {
        const Result result = runScript(write("script", text));
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.error, HasSubstr(reason));
    }
    EXPECT_THAT(runScript(directory_.file("none")).error, HasSubstr("cannot be read"));
}

TEST_F(Simulator, CleansUpWhenATranscriptIsCutShort)
{
    const std::string file = write("endless.transcript", "== x\ngiven state factory\n> IPAddUser joe secret1\n");
    const TemporaryDirectory place;
    Program bench({kBench, "--script", file, "--trace", "--peer", "systemd=silent"}, {{"TMPDIR", place.path()}});
    bench.awaitError("call systemd sshAddUser");
    bench.signal(SIGINT);
    EXPECT_EQ(bench.awaitEnd(), 128 + SIGINT);
    EXPECT_TRUE(awaitNoProcessNaming(place.path()));
    EXPECT_TRUE(fs::is_empty(place.path()));
}

TEST_F(Simulator, RecordsASessionThatCanBeRun)
{
    const std::string file = directory_.file("session.transcript");
    ASSERT_EQ(feed("VOUTMute on\n").status, 0);  // what stands in the stores is recorded, too
    std::string address;
    const auto bench = serving(address, {"--record", file, "--peer", "networkd=fail", "--peer", "intermcud=absent"});
    TcpClient client(address);
    client.send("Blink on\rVOUTMute sta\r\n");
    client.await("VOUTMute on\r\n");
    client.send("IPPort 9001\rUSBSW 1\rSFabSN it's 1\rRFabSN\rIPAddUser joe secret1\r");
    client.await("user was added\r\n");
    client.send("Broadcast on\r");
    client.await("Broadcast on\r\n");
    EXPECT_EQ(platformctl({"config", "set", "system.broadcast", "false"}).status, 0);
    client.await("Broadcast off\r\n");
    EXPECT_EQ(platformctl({"lpc", "call", "lpcExampledNoUse", "wpDispBtn", "Blink sta"}).status, 0);
    client.await("Broadcast off\r\nBlink on\r\n");
    client.send("RS232zone[x]\r");
    client.endSending();
    client.awaitEnd();
    expectEndsBySignal(*bench);
    const std::string recorded = contents(file);
    for (const char* line :
         {"given state factory\n", "given settings audio.audOut.allMute true\n", "> Blink on\n< Blink on\n",
          ">> VOUTMute sta\\r\\n\n< VOUTMute on\n", "given peer networkd TelnetRestart fails\n> IPPort 9001\n",
          "given peer intermcud trigerUsb absent\n", "given factory SerialNumber it's 1\n> SFabSN it's 1\n",
          "given peer systemd sshAddUser answers ok\n> IPAddUser joe secret1\n",
          "given settings system.broadcast false\npublish systemUserConfigChanged ",
          "lpc wpDispBtn Blink sta\n< Blink"}) {
        EXPECT_THAT(recorded, HasSubstr(line));
    }
    const Result again = runScript(file);
    EXPECT_EQ(again.output, "1 scenario went as written\n") << recorded;
    EXPECT_EQ(again.status, 0);
}

TEST_F(Simulator, SaysWhatIsWrongWithItsOptions)
{
    const std::vector<std::pair<Words, const char*>> wrong = {
        {{"--tcp", "9001"}, "--tcp takes HOST:PORT, such as 127.0.0.1:9001 (port 0 takes a free one), not '9001'"},
        {{"--tcp", "127.0.0.1:70000"}, "--tcp takes HOST:PORT"},
        {{"--tcp", "::1:9001"}, "--tcp takes HOST:PORT"},
        {{"--tcp", "127.0.0.1:0", "--raw"}, "--tcp and --raw do not go together"},
        {{"--peer", "netword=fail"}, "PEER one of networkd, systemd, intermcud"},
        {{"--peer", "networkd=slow:x"}, "not 'networkd=slow:x'"},
        {{"--peer", "networkd"}, "--peer takes PEER=fail, absent, silent, slow or slow:MS"},
        {{"--record", "x", "--device", "/dev/ttyS0"}, "use --tcp or the terminal"},
        {{"--replies-only"}, "it takes --script FILE"},
        {{"--state", ""}, "--state is empty; it takes FILE"},
        {{"--script", "x", "--save", "y"}, "leave one of them out"},
        {{"--trace=yes"}, "receiver-bench --help"},
    };
    for (const auto& [options, reason] : wrong) {
        Words words{kBench};
        words.insert(words.end(), options.begin(), options.end());
        const Result result = run(words, {});
        EXPECT_EQ(result.status, 2) << result.error;
        EXPECT_THAT(result.error, HasSubstr(reason));
        EXPECT_EQ(linesOf(result.error).size(), 1U) << result.error;
    }
    EXPECT_THAT(run({kBench, "--script", "x", "DIR"}, {}).error, HasSubstr("--state FILE says what is in them"));
}

TEST_F(Simulator, RefusesATcpPortThatIsTaken)
{
    std::string address;
    const auto bench = serving(address);
    const TemporaryDirectory other;
    const Result second = run({kBench, other.path(), "--tcp", address}, {});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.error, HasSubstr("nothing can listen at " + address +
                                        ": Address already in use; name another port; 0 takes a free one"));
    const Result third = run({kBench, other.path(), "--tcp", "192.0.2.1:0"}, {});
    EXPECT_THAT(third.error, HasSubstr("; name an address of this machine, such as 127.0.0.1"));
}

}  // namespace
