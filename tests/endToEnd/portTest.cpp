// A serial device that goes away under the daemon, and one whose far end stops reading.
#include <filesystem>
#include <fstream>

#include <poll.h>
#include <sys/inotify.h>
#include <termios.h>
#include <unistd.h>

#include "endToEnd/daemonTest.h"
#include "peers/timesIn.h"
#include "support/pluggableLine.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

// A test of both roles: the parameter is the program's name.
class PortTest : public DaemonTest, public testing::WithParamInterface<const char*> {
protected:
    [[nodiscard]] bool internal() const { return std::string(GetParam()) == kInternal; }
    [[nodiscard]] const char* service() const { return internal() ? kInternalService : kExternalService; }
    /// A method that writes to the line, and the one that does nothing.
    int callToWrite(const std::string& text)
    {
        return callMethod(service(), internal() ? "RS232zone" : "wpDispBtn", text);
    }
    int callForNothing()
    {
        return internal() ? callMethod(service(), "HDBTRS232Set", std::nullopt)
                          : callMethod(service(), "wpDispBtn", "RS232zone");
    }

    void start(const std::string& path)
    {
        process_ = device_.startDaemon(GetParam(), {path}, log_);
        waitFor("the loop", [this] {
            if (!process_->running()) {
                throw std::runtime_error("the daemon ended: " + log_.from(0));
            }
            return callForNothing() == 0;
        });
    }

    /// How often something was printed from a place on.
    [[nodiscard]] std::size_t printed(std::string_view text, std::size_t from = 0) const
    {
        return timesIn(log_.from(from), text);
    }

    void waitForPrinted(std::string_view text, std::size_t times = 1)
    {
        waitFor(std::string(text).c_str(), [&] { return printed(text) >= times; });
    }

    /// Returns once the listener has dealt with what was published before.
    void passListener()
    {
        constexpr milliseconds kOneTry{20};
        waitFor("the listener", [&] {
            const std::string marker = "{\"marker\":" + std::to_string(++markers_) + "}";
            publishEvent("networkStatusConfigChanged", marker);
            return becomesTrue([&] { return printed(marker) != 0; }, kOneTry);
        });
    }

    /// Every line is another one, so that no reply can be taken for a later one.
    void expectServed(PseudoTerminal& line)
    {
        const std::string text = "nonsense " + std::to_string(++lines_);
        line.type(text + "\r");
        EXPECT_EQ(line.takeOutputWith("\n"), "Command FAILED: (" + text + ")\r\n");
    }

    int markers_ = 0;
    int lines_ = 0;
    OutputFile log_;
    std::unique_ptr<ChildProcess> process_;
};

std::string roleName(const testing::TestParamInfo<const char*>& role)
{
    return role.param;
}

// A port that is set up again. Some drivers serve one opener at a time.

class ReopenedPort : public DaemonTest {};

TEST_F(ReopenedPort, isClosedBeforeItIsOpenedAgain)
{
    Console console(device_, kInternal);
    const UniqueFd watch(::inotify_init1(IN_CLOEXEC));
    ASSERT_GE(::inotify_add_watch(watch.get(), console.line().device().c_str(), IN_OPEN | IN_CLOSE), 0);
    constexpr std::uint32_t kInTurn[] = {IN_CLOSE_WRITE, IN_OPEN};
    for (const char* mode : {"default", "user"}) {
        ASSERT_EQ(callMethod(kInternalService, "HDBTRS232Set", mode), 0);
        for (const std::uint32_t expected : kInTurn) {
            inotify_event event{};
            ASSERT_EQ(::read(watch.get(), &event, sizeof event), static_cast<ssize_t>(sizeof event));
            EXPECT_EQ(event.mask, expected) << mode;
        }
    }
}

// A device that goes away

class LostDevice : public PortTest {
protected:
    [[nodiscard]] std::string gone() const { return "serial device " + line_.path() + " is gone: "; }
    [[nodiscard]] std::string back() const { return "serial device " + line_.path() + " is back\n"; }

    void unplug()
    {
        line_.unplug();
        waitForPrinted(gone(), ++losses_);
    }

    PseudoTerminal& plug()
    {
        PseudoTerminal& terminal = line_.plug();
        waitForPrinted(back(), ++returns_);
        return terminal;
    }

    /// The daemon's descriptors: all, and those of one file, which may have been deleted meanwhile.
    [[nodiscard]] std::size_t descriptors(const std::string& of = {}) const
    {
        std::size_t count = 0;
        for (const auto& entry :
             std::filesystem::directory_iterator("/proc/" + std::to_string(process_->pid()) + "/fd")) {
            std::error_code error;
            const std::string file = std::filesystem::read_symlink(entry.path(), error).string();
            if (of.empty() || file == of || file == of + " (deleted)") {
                ++count;
            }
        }
        return count;
    }

    void loseAndServe(int times)
    {
        PseudoTerminal* terminal = &line_.plug();
        start(line_.path());
        passListener();
        expectServed(*terminal);
        const std::size_t open = descriptors();
        const std::size_t from = log_.size();
        for (int i = 0; i < times; ++i) {
            const std::string device = terminal->device();
            ASSERT_EQ(descriptors(device), 1U);
            unplug();
            waitFor("the port to be closed", [&] { return descriptors(device) == 0; });
            EXPECT_EQ(callForNothing(), 0);
            terminal = &plug();
            expectServed(*terminal);
        }
        EXPECT_EQ(descriptors(), open);
        EXPECT_EQ(printed(gone()), static_cast<std::size_t>(times));
        EXPECT_EQ(printed(back()), static_cast<std::size_t>(times));
        EXPECT_EQ(printed("failed!", from), 0U);
    }

    void expectIdle(seconds time)
    {
        line_.plug();
        start(line_.path());
        passListener();
        unplug();
        const std::size_t from = log_.size();
        const auto before = process_->cpuTime();
        const auto begun = steady_clock::now();
        std::this_thread::sleep_for(time);  // the rest is under test
        const auto used = std::chrono::duration_cast<milliseconds>(process_->cpuTime() - before);
        const auto rest = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begun);
        RecordProperty("cpuMs", static_cast<int>(used.count()));
        EXPECT_LT(used, rest / 100);
        EXPECT_EQ(log_.from(from), "");
        expectServed(plug());
    }

    PluggableLine line_;
    std::size_t losses_ = 0;
    std::size_t returns_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Of, LostDevice, testing::Values(kExternal, kInternal), roleName);

TEST_P(LostDevice, isServedAgainEachTimeItReturns)
{
    loseAndServe(5);
}

TEST_P(LostDevice, isServedAgainAHundredTimes)
{
    loseAndServe(100);
}

TEST_P(LostDevice, costsUnderOnePercentOfAProcessor)
{
    expectIdle(seconds(5));
}

TEST_P(LostDevice, costsUnderOnePercentOfAProcessorForAMinute)
{
    expectIdle(seconds(60));
}

TEST_P(LostDevice, isServedWhenItComesAfterTheStart)
{
    start(line_.path());
    EXPECT_EQ(printed("[uart_open2] open uart dev " + line_.path() + " failed!\r\n"), 1U);
    EXPECT_EQ(callToWrite("nonsense"), 0);
    EXPECT_EQ(printed("write: Bad file descriptor\n"), 1U);
    expectServed(plug());
    EXPECT_EQ(printed("failed!"), 1U);
    EXPECT_EQ(printed(gone()), 0U);
    EXPECT_EQ(printed(back()), 1U);
}

// A plain file is no serial device, but tells by inotify(7) when it is opened.
TEST_P(LostDevice, isTriedEverySecondInSilence)
{
    std::ofstream(line_.path()).flush();
    const UniqueFd watch(::inotify_init1(IN_CLOEXEC));
    ASSERT_GE(::inotify_add_watch(watch.get(), line_.path().c_str(), IN_OPEN), 0);
    const auto openedNext = [&] {
        pollfd descriptor{watch.get(), POLLIN, 0};
        inotify_event event{};
        if (::poll(&descriptor, 1, static_cast<int>(milliseconds(kPatience).count())) != 1 ||
            ::read(watch.get(), &event, sizeof event) != static_cast<ssize_t>(sizeof event)) {
            throw std::runtime_error("the device is not tried");
        }
        return steady_clock::now();
    };

    const auto begun = steady_clock::now();
    start(line_.path());
    passListener();
    openedNext();
    const std::size_t from = log_.size();
    constexpr int kTries = 3;
    // A try is seen late on a busy machine, never early.
    for (int i = 1; i <= kTries; ++i) {
        EXPECT_GE(openedNext() - begun, seconds(i));
    }
    EXPECT_EQ(log_.from(from), "");
    waitFor("two tries about a second apart", [&] {
        const auto one = openedNext();
        return openedNext() - one < milliseconds(1'200);
    });

    std::filesystem::remove(line_.path());
    expectServed(plug());
}

TEST_P(LostDevice, comesBackWithTheSettingsChangedMeanwhile)
{
    line_.plug();
    start(line_.path());
    unplug();
    const std::string change = std::string(R"({"system":{"uart":{"interface)") + (internal() ? "3" : "1") +
                               R"(":{"baudrate":4800,"databit":8,"parity":0,"stopbit":2}}}})";
    const std::string opening = "uart_open2(" + line_.path() + ",4800,8,2,0,0)\r\n";
    constexpr milliseconds kOneTry{20};
    waitFor("the change", [&] {
        publishEvent("systemUserConfigChanged", change);
        return becomesTrue([&] { return printed(opening) == 1; }, kOneTry);
    });
    waitForPrinted("++++++++\tpStrExample->uart NULL!!!!!!\r");
    PseudoTerminal& terminal = plug();
    expectServed(terminal);
    termios taken{};
    ASSERT_EQ(tcgetattr(terminal.deviceFd(), &taken), 0);
    EXPECT_EQ(cfgetospeed(&taken), static_cast<speed_t>(B4800));
    EXPECT_NE(taken.c_cflag & CSTOPB, 0U);
    EXPECT_EQ(printed("failed!"), 1U);
    EXPECT_EQ(printed(gone()), 1U);
    EXPECT_EQ(printed(back()), 1U);
}

TEST_P(LostDevice, takesItsUnfinishedLineWithIt)
{
    PseudoTerminal& terminal = line_.plug();
    start(line_.path());
    terminal.type("Blink st");
    terminal.waitUntilAllRead();
    unplug();
    expectServed(plug());
}

// A far end that stops reading

class StalledReader : public PortTest {
protected:
    StalledReader() { start(line_.device()); }

    [[nodiscard]] std::size_t givenUp() const { return printed("write: Connection timed out\n"); }

    /// Writes until nothing goes any more; the caller may have given up before the daemon does.
    void fill()
    {
        const std::string text(5'000, 'q');
        const std::size_t before = givenUp();
        steady_clock::time_point begun;
        for (int i = 0; i < 100 && givenUp() == before; ++i) {
            begun = steady_clock::now();
            if (callToWrite(text) != 0) {
                waitFor("a text to be given up", [&] { return givenUp() != before; });
            }
        }
        EXPECT_EQ(givenUp(), before + 1);
        EXPECT_GE(steady_clock::now() - begun, seconds(2));
    }

    template <class Work>
    void expectOneMoreGivenUp(Work work)
    {
        const std::size_t before = givenUp();
        work();
        EXPECT_TRUE(becomesTrue([&] { return givenUp() == before + 1; })) << log_.from(0);
    }

    PseudoTerminal line_;
};

INSTANTIATE_TEST_SUITE_P(Of, StalledReader, testing::Values(kExternal, kInternal), roleName);

TEST_P(StalledReader, costsTwoSecondsOnce)
{
    fill();
    const auto begun = steady_clock::now();
    constexpr int kTexts = 20;
    for (int i = 0; i < kTexts; ++i) {
        expectOneMoreGivenUp([this] { EXPECT_EQ(callToWrite("nonsense"), 0); });
    }
    passListener();
    EXPECT_LT(steady_clock::now() - begun, seconds(20));  // far from two each, also on a busy machine
}

TEST_P(StalledReader, isToldOfEveryKindOfTextThatItCosts)
{
    fill();
    expectOneMoreGivenUp([this] { line_.type("nonsense\r"); });
    expectOneMoreGivenUp([this] { line_.type("RS232zone [x]\r"); });  // answered at a quiet gap
    passListener();
    expectOneMoreGivenUp([] { publishEvent("uartProjectorEvent", "projector text"); });
    if (internal()) {
        expectOneMoreGivenUp([this] { EXPECT_EQ(callMethod(service(), "RS232zone900XPort", "41 42"), 0); });
    }
}

TEST_P(StalledReader, getsRepliesAgainWhenItReadsAgain)
{
    fill();
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(line_.takeOutput().empty());
        expectServed(line_);
        EXPECT_EQ(callToWrite("\rcalled"), 0);
        line_.takeOutputWith("called");
        fill();
    }
}

TEST_P(StalledReader, doesNotHoldUpNewLineSettings)
{
    fill();
    passListener();
    EXPECT_EQ(publishEvent("systemUserConfigChanged", std::string(R"({"system":{"uart":{"interface)") +
                                                          (internal() ? "3" : "1") + R"(":{"baudrate":4800}}}})"),
              0);
    waitForPrinted("uart_open2(" + line_.device() + ",4800,");
    passListener();
    line_.takeOutput();
    expectServed(line_);
}

}  // namespace
