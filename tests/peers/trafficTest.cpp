// Two instances and their peers at work at once: nothing that was sent is lost, doubled or out of order.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <random>

#include <gtest/gtest.h>

#include "peers/instance.h"
#include "peers/seen.h"
#include "peers/timesIn.h"
#include "peers/workers.h"
#include "platform/store.h"
#include "support/hexOf.h"
#include "support/waiting.h"

namespace {

using Lines = std::vector<std::string>;

constexpr const char* kBursts = "recvHDBTSendTo9001";
constexpr std::size_t kLongestBurst = 341;

std::string numbered(char letter, int number)
{
    char text[16];
    std::snprintf(text, sizeof text, "%c%06d", letter, number);
    return text;
}

void pause(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Complete lines that a daemon has written to its port.
class Replies {
public:
    explicit Replies(Instance& instance) : instance_(instance) {}

    void read()
    {
        instance_.expectRunning();
        rest_ += instance_.line().takeOutput();
        for (std::size_t end = rest_.find("\r\n"); end != std::string::npos; end = rest_.find("\r\n")) {
            lines_.push_back(rest_.substr(0, end));
            rest_.erase(0, end + 2);
        }
    }

    // The lines that begin with a text, or those that begin with none of several.
    [[nodiscard]] Lines with(const std::string& begin) const
    {
        Lines found;
        std::copy_if(lines_.begin(), lines_.end(), std::back_inserter(found),
                     [&](const std::string& line) { return line.starts_with(begin); });
        return found;
    }
    [[nodiscard]] Lines without(const Lines& begins) const
    {
        Lines found;
        std::copy_if(lines_.begin(), lines_.end(), std::back_inserter(found), [&](const std::string& line) {
            return std::none_of(begins.begin(), begins.end(),
                                [&](const std::string& begin) { return line.starts_with(begin); });
        });
        return found;
    }
    [[nodiscard]] const std::string& rest() const { return rest_; }

private:
    Instance& instance_;
    Lines lines_;
    std::string rest_;
};

// Types commands of many kinds and waits for their answers.
class ConsoleUser {
public:
    explicit ConsoleUser(Instance& external) : external_(external), replies_(external) {}

    void round()
    {
        std::string typed;
        for (int i = 0; i < 5; ++i) {
            const std::string line = numbered('L', ++number_);
            ask(typed, line, "Command FAILED: (" + line + ")");
        }
        const std::string mute = number_ % 2 == 0 ? "VOUTMute on" : "VOUTMute off";
        ask(typed, mute, mute);
        ask(typed, "TrigCEC1 on", "TrigCEC1 on");
        ask(typed, "Update", "Update");
        ++rounds_;
        external_.line().type(typed);
        waitForAll();
    }

    void waitForAll()
    {
        waitFor("replies to typed lines", [this] {
            replies_.read();
            return answers().size() >= expected_.size();
        });
    }

    [[nodiscard]] Lines answers() const { return replies_.without({kRequestAnswer, "P"}); }
    [[nodiscard]] const Lines& expected() const { return expected_; }
    [[nodiscard]] std::size_t rounds() const { return rounds_; }
    Replies& replies() { return replies_; }

    static constexpr const char* kRequestAnswer = "Command FAILED: (W";

private:
    void ask(std::string& typed, const std::string& line, const std::string& answer)
    {
        typed += line + '\r';
        expected_.push_back(answer);
    }

    Instance& external_;
    Replies replies_;
    Lines expected_;
    int number_ = 0;
    std::size_t rounds_ = 0;
};

// The far end of the link: handshake lines and bursts in turn.
class FarEnd {
public:
    FarEnd(Instance& internal, Seen& seen) : internal_(internal), seen_(seen), replies_(internal) {}

    void round()
    {
        replies_.read();
        shakeHands();
        sendBurst();
    }

    [[nodiscard]] const std::string& handshakes() const { return handshakes_; }
    Replies& replies() { return replies_; }

    // What has to come out: carriage returns typed to show a gap may stand before a burst; they came in the same one,
    // of which the rest is dropped.
    [[nodiscard]] Lines expected() const
    {
        const Lines came = published();
        Lines all;
        for (std::size_t i = 0; i < bursts_.size(); ++i) {
            std::string whole = hexOf(bursts_[i]);
            for (std::size_t at = 0; i < came.size() && came[i].compare(at, 3, " 0D") == 0; at += 3) {
                whole.insert(0, " 0D");
            }
            all.push_back(whole.substr(0, 3 * kLongestBurst));
        }
        return all;
    }

    // The bursts that came out, without those that only showed a quiet gap.
    [[nodiscard]] Lines published() const
    {
        Lines found;
        for (const std::string& burst : seen_.payloads(kBursts)) {
            if (burst.find_first_not_of(" 0D") != std::string::npos) {
                found.push_back(burst);
            }
        }
        return found;
    }

private:
    void shakeHands()
    {
        const std::string line = "WP_" + numbered('H', ++number_) + "]$\r";
        handshakes_ += line;
        internal_.line().type(line);
        waitFor("a handshake's characters", [this] {
            replies_.read();
            return seen_.characters("wpcmdd", "receiveWpCmdd").size() >= handshakes_.size();
        });
        // A carriage return either still joins the handshake's burst, which stays silent, or is a burst of its own.
        const std::size_t before = seen_.payloads(kBursts).size();
        constexpr std::chrono::milliseconds kFewGaps{100};
        waitFor("the quiet gap behind a handshake", [&] {
            replies_.read();
            internal_.line().type("\r");
            return becomesTrue([&] { return seen_.payloads(kBursts).size() > before; }, kFewGaps);
        });
        // The last one typed may be on its way yet.
        internal_.line().waitUntilAllRead();
    }

    void sendBurst()
    {
        std::string burst(std::uniform_int_distribution<std::size_t>(2, kLongestBurst)(random_), '\0');
        std::generate(burst.begin(), burst.end(), [this] { return kBytes[random_() % (sizeof kBytes - 1)]; });
        burst.front() = ':';  // tells it from the carriage returns that only show a gap
        burst.back() = '\r';  // the next handshake begins a line
        bursts_.push_back(burst);
        internal_.line().type(burst);
        waitFor("a burst's publication", [this] {
            replies_.read();
            return published().size() >= bursts_.size();
        });
    }

    static constexpr char kBytes[] = "abcXYZ0189 \r\n\x01\x7f\x80\xff[{:;";

    Instance& internal_;
    Seen& seen_;
    Replies replies_;
    std::mt19937 random_{20'010'911};
    std::string handshakes_;
    Lines bursts_;
    int number_ = 0;
};

Lines numberedLines(char letter, int count, const std::string& before = {}, const std::string& after = {})
{
    Lines lines;
    for (int number = 1; number <= count; ++number) {
        lines.push_back(before + numbered(letter, number) + after);
    }
    return lines;
}

void update(int (*store)(const char*), const std::string& document)
{
    if (store(document.c_str()) != 0) {
        throw std::runtime_error("cannot store " + document);
    }
}

// Does the work of a test; false when a text was given up, of whatever came of it.
bool wasRead(const Instance& external, const Instance& internal, const std::function<void()>& work)
{
    try {
        work();
    } catch (const std::exception&) {
        if (!external.hasGivenUp() && !internal.hasGivenUp()) {
            throw;
        }
    }
    return !external.hasGivenUp() && !internal.hasGivenUp();
}

void workFor(std::chrono::seconds time)
{
    onADeviceThatIsRead([time](TestDevice& device) {
        device.put(local::Store::settings, "system.broadcast", "true");
        device.put(local::Store::status, "system.slaveMcu.isReady", "true");
        device.put(local::Store::status, "network.telnet.connect9001Count", "1");
        device.put(local::Store::status, "system.update.progressEvent.isOn", "false");
        device.startPeers();
        Instance external(device, InstanceRole::external);
        Instance internal(device, InstanceRole::internal);
        Seen seen(device);
        ConsoleUser user(external);
        FarEnd farEnd(internal, seen);
        int requests = 0;
        int hexTexts = 0;
        int projectorTexts = 0;
        int settings = 0;
        int states = 0;

        Workers workers;
        workers.add([&] { user.round(); });
        workers.add([&] { farEnd.round(); });
        workers.add([&] {
            callMethod("lpcExampledNoUse", "wpDispBtn", numbered('W', ++requests).c_str());
            pause(2);
        });
        // The link's loop needs pauses between requests to tell where a burst ends.
        workers.add([&] {
            for (int i = 0; i < 5; ++i) {
                const std::string hex = hexOf(numbered('Z', ++hexTexts) + "\r\n");
                callMethod("lpcExampledNoUse2", "RS232zone900XPort", hex.c_str());
            }
            pause(70);
        });
        workers.add([&] {
            publishEvent("uartProjectorEvent", (numbered('P', ++projectorTexts) + "\r\n").c_str());
            pause(7);
        });
        workers.add([&] {
            ++settings;
            update(user_config_update, R"({"audio":{"audOut":{"volume":)" + std::to_string(settings) +
                                           R"(}},"control":{"name":"n)" + std::to_string(settings) + "\"}}");
            pause(3);
        });
        workers.add([&] {
            ++states;
            update(user_status_update, R"({"network":{"telnet":{"connect9001Count":)" + std::to_string(states % 3 + 1) +
                                           R"(}},"control":{"wpHsk":{"identifyStatus":")" +
                                           (states % 2 == 0 ? "success" : "fail") + "\"}}}");
            pause(3);
        });
        const bool read = wasRead(external, internal, [&] {
            workers.work(time);
            waitFor("what is left to come", [&] {
                user.replies().read();
                farEnd.replies().read();
                return user.replies().with(ConsoleUser::kRequestAnswer).size() >= static_cast<std::size_t>(requests) &&
                       user.replies().with("P").size() >= static_cast<std::size_t>(projectorTexts) &&
                       farEnd.replies().with("P").size() >= static_cast<std::size_t>(projectorTexts) &&
                       farEnd.replies().with("Z").size() >= static_cast<std::size_t>(hexTexts);
            });
            external.passListener();
            internal.passListener();
            user.replies().read();
            farEnd.replies().read();
        });
        if (!read) {
            return false;
        }

        EXPECT_EQ(user.answers(), user.expected());
        EXPECT_EQ(user.replies().with(ConsoleUser::kRequestAnswer),
                  numberedLines('W', requests, "Command FAILED: (", ")"));
        EXPECT_EQ(user.replies().with("P"), numberedLines('P', projectorTexts));
        EXPECT_EQ(user.replies().rest(), "");
        EXPECT_EQ(seen.calls("intermcud", "TrigCEC"), user.rounds());
        EXPECT_EQ(seen.calls("systemd", "sshUpdate"), user.rounds());
        EXPECT_EQ(seen.characters("wpcmdd", "receiveWpCmdd"), farEnd.handshakes());
        EXPECT_EQ(farEnd.published(), farEnd.expected());
        EXPECT_EQ(farEnd.replies().with("P"), numberedLines('P', projectorTexts));
        EXPECT_EQ(farEnd.replies().with("Z"), numberedLines('Z', hexTexts));
        EXPECT_EQ(farEnd.replies().without({"P", "Z"}), Lines{});
        EXPECT_EQ(farEnd.replies().rest(), "");
        std::cout << user.expected().size() << " lines, " << requests << " requests, " << farEnd.handshakes().size()
                  << " handshake characters, " << farEnd.published().size() << " bursts, " << hexTexts << " hex texts, "
                  << projectorTexts << " projector texts, " << settings << " settings, " << states << " states\n";
        return true;
    });
}

std::ptrdiff_t openDescriptors(Instance& instance)
{
    const std::filesystem::path directory = "/proc/" + std::to_string(instance.process().pid()) + "/fd";
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

// The listener and the methods open the ports again and again while others write to them. What is typed may be
// discarded by an opening; what is written may not.
void reopenFor(std::chrono::seconds time)
{
    onADeviceThatIsRead([time](TestDevice& device) {
        device.put(local::Store::status, "control.wpHsk.identifyStatus", "\"fail\"");
        Instance external(device, InstanceRole::external);
        Instance internal(device, InstanceRole::internal);
        Replies console(external);
        Replies link(internal);
        const auto before = std::pair(openDescriptors(external), openDescriptors(internal));
        int requests = 0;
        int hexTexts = 0;
        int settings = 0;
        int projectorTexts = 0;

        Workers workers;
        workers.add([&] { callMethod("lpcExampledNoUse", "wpDispBtn", numbered('W', ++requests).c_str()); });
        workers.add([&] {
            callMethod("lpcExampledNoUse2", "RS232zone900XPort", hexOf(numbered('Z', ++hexTexts) + "\r\n").c_str());
            callMethod("lpcExampledNoUse2", "HDBTRS232Set", hexTexts % 2 == 0 ? "default" : "user");
        });
        workers.add([&] {
            ++settings;
            const std::string stopBits = std::to_string(settings % 2 + 1);
            update(user_config_update, R"({"system":{"uart":{"interface1":{"stopbit":)" + stopBits +
                                           R"(},"interface3":{"stopbit":)" + stopBits + R"(,"baudrate":)" +
                                           std::to_string(settings % 3 == 0 ? 9'600 : 19'200) + "}}}}");
        });
        workers.add([&] {
            publishEvent("uartProjectorEvent", (numbered('P', ++projectorTexts) + "\r\n").c_str());
            pause(2);
        });
        // Apart, for a line is not read while the other does not take what is typed.
        workers.add([&] {
            external.line().type("NNNN\r");
            console.read();
        });
        workers.add([&] {
            internal.line().type("NNNN\r");
            link.read();
        });
        const auto all = [](int count) { return static_cast<std::size_t>(count); };
        const bool read = wasRead(external, internal, [&] {
            workers.work(time);
            waitFor("what is left to come", [&] {
                console.read();
                link.read();
                return console.with(ConsoleUser::kRequestAnswer).size() >= all(requests) &&
                       console.with("P").size() >= all(projectorTexts) &&
                       link.with("P").size() >= all(projectorTexts) && link.with("Z").size() >= all(hexTexts);
            });
            external.passListener();
            internal.passListener();
            external.line().type("\rNope\r");
            waitFor("an answer", [&] {
                console.read();
                return !console.with("Command FAILED: (Nope)").empty();
            });
        });
        if (!read) {
            return false;
        }

        EXPECT_EQ(console.with(ConsoleUser::kRequestAnswer), numberedLines('W', requests, "Command FAILED: (", ")"));
        EXPECT_EQ(console.with("P"), numberedLines('P', projectorTexts));
        EXPECT_EQ(console.without({"P", "Command FAILED: ("}), Lines{});
        EXPECT_EQ(link.with("P"), numberedLines('P', projectorTexts));
        EXPECT_EQ(link.with("Z"), numberedLines('Z', hexTexts));
        EXPECT_EQ(link.without({"P", "Z", "Command FAILED: (N"}), Lines{});
        // One opening for each setting; the first may be in force already.
        const std::size_t openings = timesIn(external.output(), "uart_open2(");
        EXPECT_GE(openings, all(settings) - 1);
        EXPECT_LE(openings, all(settings));
        EXPECT_GT(timesIn(internal.output(), "uart_open2("), 0U);
        EXPECT_EQ(timesIn(internal.output(), "[HDBTRS232Set]["), all(2 * hexTexts));
        // A few are opened at first use; thousands would be one for each opening.
        constexpr std::ptrdiff_t kAtFirstUse = 16;
        EXPECT_LE(openDescriptors(external), before.first + kAtFirstUse);
        EXPECT_LE(openDescriptors(internal), before.second + kAtFirstUse);
        std::cout << requests << " requests, " << hexTexts << " hex texts, " << settings << " settings, " << openings
                  << " openings of the console, " << projectorTexts << " projector texts\n";
        return true;
    });
}

}  // namespace

TEST(Traffic, ofTwoInstancesAndTheirPeersForAMoment)
{
    workFor(std::chrono::seconds(5));
}

TEST(Traffic, ofTwoInstancesAndTheirPeersForAMinute)
{
    workFor(std::chrono::minutes(1));
}

TEST(Traffic, whilePortsAreReopenedForAMoment)
{
    reopenFor(std::chrono::seconds(5));
}

TEST(Traffic, whilePortsAreReopenedForAMinute)
{
    reopenFor(std::chrono::minutes(1));
}
