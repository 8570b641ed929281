// receiver-bench at a terminal that a person sees: under tmux, which tells what stands on the screen.
#include <algorithm>
#include <chrono>
#include <gmock/gmock.h>
#include <thread>

#include "benchTest.h"

namespace {

using testing::HasSubstr;

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
        ASSERT_EQ(tmux({"new-session", "-d", "-x", "100", "-y", "50", "PS1='$ ' /bin/sh"}).status, 0);
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
    const auto allSeen = [&] {
        const std::string seen = screen();
        return seen.find("\nfrom the room\n") != std::string::npos &&
               seen.find("audioUserConfigChanged") != std::string::npos;
    };
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!allSeen() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
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
    awaitScreen("\n> " + longLine.substr(0, 98) + "\n" + longLine.substr(98));
    ASSERT_EQ(platformctl({"event", "publish", "uartProjectorEvent", "again\r\n"}).status, 0);
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (screen().find("\nagain\n") == std::string::npos && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    awaitScreen("\n> " + longLine.substr(0, 98) + "\n" + longLine.substr(98));
    EXPECT_EQ(linesOf(screen()).size() > 3, true);
    EXPECT_THAT(screen(true), HasSubstr("\x1b[36m")) << "in colour at a terminal";
    press("C-u");
    leave();
}

}  // namespace
