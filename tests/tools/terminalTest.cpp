// receiver-bench at a terminal that a person sees: under tmux, which tells what stands on the screen.
#include <algorithm>
#include <chrono>
#include <fstream>
#include <gmock/gmock.h>
#include <regex>
#include <thread>

#include "benchTest.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// "$ COMMAND" and what it prints.
struct ReadmeStep {
    std::string command;
    std::string output;
};

/// The session of the README, and the trace that stands between its steps.
struct ReadmeSession {
    std::vector<ReadmeStep> steps;
    std::string trace;
};

ReadmeSession readmeSession()
{
    ReadmeSession session;
    bool inside = false;
    for (const std::string& line : linesOf(contents(README))) {
        if (line.starts_with("## ")) {
            inside = line == "## Ten minutes with a simulated receiver";
        }
        if (!inside || !line.starts_with("    ")) {
            continue;
        }
        const std::string text = line.substr(4);
        if (text.starts_with("$ ")) {
            session.steps.push_back({text.substr(2), {}});
        } else if (text.starts_with("   0.")) {
            session.trace += text + "\n";
        } else {
            session.steps.back().output += text + "\n";
        }
    }
    return session;
}

class Terminal : public Bench {
protected:
    ~Terminal() override
    {
        if (started_) {
            tmux({"kill-server"});
        }
    }

    Result tmux(Words words) const
    {
        words.insert(words.begin(), {TMUX, "-S", socket_.file("tmux"), "-f", "/dev/null"});
        return run(words, {{"TERM", "screen"}, {"LC_ALL", "C.UTF-8"}});
    }

    /// A shell at the screen.
    void start()
    {
        ASSERT_EQ(tmux({"new-session", "-d", "-x", "120", "-y", "50", "PS1='$ ' /bin/sh"}).status, 0);
        started_ = true;
        awaitScreen("$");
    }

    void type(const std::string& text) const { tmux({"send-keys", "-l", text}); }
    void press(const std::string& key) const { tmux({"send-keys", key}); }

    [[nodiscard]] std::string screen(bool coloured = false) const
    {
        std::string text = tmux(coloured ? Words{"capture-pane", "-p", "-e"} : Words{"capture-pane", "-p"}).output;
        text.erase(text.find_last_not_of('\n') + 1);
        return text;
    }

    /// Waits until the screen ends with this.
    void awaitScreen(const std::string& end) const
    {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        std::string seen;
        do {
            seen = screen();
            if (seen.ends_with(end)) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        } while (std::chrono::steady_clock::now() < deadline);
        FAIL() << "the screen does not end with: " << end << "\nit holds:\n" << seen;
    }

    /// Waits until this stands somewhere on the screen.
    void awaitOnScreen(const std::string& text) const
    {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (screen().find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > deadline) {
                FAIL() << "not on the screen: " << text << "\nit holds:\n" << screen();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    [[nodiscard]] std::string portAfter(const std::string& text) const
    {
        const std::string seen = screen();
        const std::size_t start = seen.find(text) + text.size();
        return seen.substr(start, seen.find_first_not_of("0123456789", start) - start);
    }

    void startBench(const std::string& options = {})
    {
        start();
        type("stty -a >" + directory_.file("before") + "; " + kBench + " " + directory() + " " + options + "\n");
        awaitScreen("Tab completes, help lists the commands, Ctrl-D leaves; --help: trace, record, TCP\n>");
    }

    void leave() const
    {
        press("C-d");
        awaitScreen("\n$");
        type("stty -a >" + directory_.file("after") + "; echo status $?\n");
        awaitScreen("\nstatus 0\n$");
        EXPECT_EQ(contents(directory_.file("after")), contents(directory_.file("before"))) << "the terminal's settings";
        expectAllGone();
    }

private:
    TemporaryDirectory socket_;
    bool started_ = false;
};

TEST_F(Terminal, CompletesWordsAndRemembersLines)
{
    startBench();
    type("VOUTM");
    press("Tab");
    awaitScreen("\n> VOUTMute");
    type("o");
    press("Tab");
    awaitScreen("\non   off\n> VOUTMute o");
    type("n");
    press("Enter");
    awaitScreen("\n> VOUTMute on\nVOUTMute on\n>");
    type("Bli");
    press("Tab");
    type("st");
    press("Tab");
    press("Enter");
    awaitScreen("\n> Blink sta\nBlink off\n>");
    press("Up");
    press("Up");
    awaitScreen("\n> VOUTMute on");
    press("Left");
    press("BSpace");
    type("");
    press("C-e");
    press("BSpace");
    type("sta");
    press("Enter");
    awaitScreen("\n> VOUTMute sta\nVOUTMute on\n>");
    leave();
    // A directory that stays keeps the lines.
    type("clear; " + kBench + " " + directory() + "\n");
    awaitScreen("trace, record, TCP\n>");
    press("Up");
    awaitScreen("\n> VOUTMute sta");
    press("C-c");
    awaitScreen("\n$");
}

TEST_F(Terminal, KeepsTheLineBeingTypedBelowWhatComes)
{
    startBench("--trace");
    type("Blink o");
    ASSERT_EQ(platformctl({"event", "publish", "uartProjectorEvent", "from the room\r\n"}).status, 0);
    awaitScreen("\n> Blink o");
    ASSERT_EQ(platformctl({"config", "set", "audio.audOut.allMute", "true"}).status, 0);
    awaitOnScreen("\nfrom the room\n");
    awaitOnScreen("audioUserConfigChanged");
    awaitScreen("\n> Blink o");
    EXPECT_THAT(screen(), HasSubstr("\nfrom the room\n"));
    EXPECT_THAT(screen(), HasSubstr(" store settings audio.audOut.allMute true\n"));
    type("n");
    press("Enter");
    awaitScreen("\n>");
    const auto lines = linesOf(screen());
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "> Blink on"), 1) << screen();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "> Blink o"), 0) << screen();
    // A line longer than the screen is wide is taken away and drawn anew as a whole.
    const std::string longLine(150, 'x');
    type(longLine);
    awaitScreen("\n> " + longLine.substr(0, 118) + "\n" + longLine.substr(118));
    ASSERT_EQ(platformctl({"event", "publish", "uartProjectorEvent", "again\r\n"}).status, 0);
    awaitOnScreen("\nagain\n");
    awaitScreen("\n> " + longLine.substr(0, 118) + "\n" + longLine.substr(118));
    EXPECT_THAT(screen(true), HasSubstr("\x1b[36m")) << "in colour at a terminal";
    press("C-u");
    leave();
}

std::string replaced(const std::string& text, const std::string& what, const std::string& with)
{
    return std::regex_replace(text, std::regex(what), with);
}

/// Without its times, and without the line ends that replies have.
std::string plain(const std::string& text)
{
    return replaced(replaced(text, R"( *\d+\.\d{3} )", "TIME "), "\r", "");
}

TEST_F(Terminal, GoesAsTheReadmeTells)
{
    const ReadmeSession session = readmeSession();
    ASSERT_EQ(session.steps.size(), 10U);
    const ReadmeStep& path = session.steps[0];
    const ReadmeStep& bench = session.steps[1];
    const ReadmeStep& listing = session.steps[2];
    // Where ./run puts the programs, seen from the repository's root.
    const std::string built = "build/run";
    EXPECT_THAT(contents(SOURCE_DIRECTORY "/run"), HasSubstr("\nbuild=$root/" + built + "\n"));
    ASSERT_EQ(path.command, "export PATH=$PWD/" + built + "/bin:$PATH");
    ASSERT_THAT(bench.command, StartsWith("receiver-bench --tcp 127.0.0.1:9001 "));
    ASSERT_EQ(listing.command, "cat drive");

    // Any free port in place of the README's.
    start();
    type("cd " + directory() + "; " + replaced(path.command, R"(\$PWD/build/run/bin)", kPrograms) + "; clear\n");
    awaitScreen("$");
    type(replaced(bench.command, ":9001", ":0") + "\n");
    const std::string served = "the external console is served on 127.0.0.1:";
    awaitOnScreen(served);
    awaitScreen("\n127.0.0.1:" + portAfter(served));
    std::ofstream(directory_.file("drive")) << replaced(listing.output, "9001", portAfter(served));
    const auto shell = [&](const ReadmeStep& step) {
        Environment environment{{"PATH", kPrograms + ":/usr/bin:/bin"}};
        const Result result = run({"/bin/bash", "-c", "cd " + directory() + " && " + step.command}, environment);
        EXPECT_EQ(plain(result.output), plain(step.output)) << step.command << "\n" << result.error;
    };
    shell(session.steps[3]);
    awaitOnScreen("the client has gone");
    EXPECT_THAT(plain(screen()), HasSubstr(plain(session.trace)));
    press("C-c");
    awaitScreen("^C$");
    for (std::size_t at = 4; at < 8; ++at) {
        shell(session.steps[at]);
    }
    // The test that it becomes is one.
    const std::string test = "tests/transcripts/recorded/session.transcript";
    EXPECT_EQ(session.steps[8].command, "cp session.transcript " + test);
    EXPECT_EQ(contents(directory_.file("session.transcript")), contents(SOURCE_DIRECTORY "/" + test));
    EXPECT_EQ(session.steps[9].command, "./test -R recorded/session");
}

}  // namespace
