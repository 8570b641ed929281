// A bus that dies, comes back or hangs, and peers that hang: what the console loses, and what it answers all the same.
#include <algorithm>
#include <csignal>
#include <fstream>
#include <tuple>
#include <vector>

#include "endToEnd/daemonTest.h"

namespace {

using local::Store;
using std::chrono::steady_clock;

// Seconds. Generous to a loaded machine: the usual time is some milliseconds.
constexpr double kUsually = 0.5;
constexpr double kAtOnce = 2.0;
constexpr double kTimeOut = 3.0;  // of a call
constexpr double kOverhead = 2.5;

// proc(5): what follows the name, which may hold blanks and parentheses.
char stateOf(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(file, text);
    return text.at(text.rfind(')') + 2);
}

class BusFaults : public DaemonTest {
protected:
    BusFaults()
    {
        device_.put(Store::settings, "control.ledMode", "false");
        device_.put(Store::settings, "network.telnet.telnetPort", "23");
    }

    void freezeBus()
    {
        device_.bus().signal(SIGSTOP);
        waitFor("the bus to stop", [&] { return stateOf(device_.bus().pid()) == 'T'; });
    }

    // Types a command, expects its one reply and returns the seconds that took.
    static double answered(Console& console, const std::string& command, const std::string& reply)
    {
        const auto start = steady_clock::now();
        EXPECT_EQ(console.answer(command + "\r", "\n"), reply + "\r\n");
        return std::chrono::duration<double>(steady_clock::now() - start).count();
    }

    // What needs no bus, and what can do without: in the usual time.
    static void expectUsualAnswers(Console& console)
    {
        std::vector<double> times;
        for (int i = 0; i < 5; ++i) {
            times.push_back(answered(console, "nonsense", "Command FAILED: (nonsense)"));
            times.push_back(answered(console, "Blink on", "Blink on"));  // cannot be announced
            times.push_back(answered(console, "Blink on", "Blink on"));  // cannot be published
            times.push_back(answered(console, "Blink sta", "Blink on"));
            times.push_back(answered(console, "Blink off", "Blink off"));
            times.push_back(answered(console, "IPPort sta", "IPPort 23"));
        }
        std::sort(times.begin(), times.end());
        EXPECT_LT(times[times.size() / 2], kUsually);
        EXPECT_LT(times.back(), kAtOnce);
    }

    static void expectServed(const char* service)
    {
        waitFor("the service", [&] { return callMethod(service, "wpDispBtn", "RS232zone") == 0; });
    }

    // The announcement of a change reaches others.
    void expectAnnounced(Console& console)
    {
        const OutputFile seen;
        ChildProcess watch({.program = PLATFORMCTL,
                            .words = {PLATFORMCTL, "event", "watch", "controlUserConfigChanged"},
                            .environment = device_.environment(),
                            .output = seen.fd()});
        waitFor("the watcher", [&] { return seen.holds("ready", 0); });
        // Until then the console may have been told to try again later.
        bool on = false;
        waitFor("the announcement", [&] {
            on = !on;
            console.answer(on ? "Blink on\r" : "Blink off\r", "\n");
            return becomesTrue([&] { return seen.holds("ledMode", 0); }, std::chrono::milliseconds(100));
        });
        answered(console, "Blink off", "Blink off");
    }

    // A call of a peer that costs its time-out.
    static void expectTimeOut(Console& console)
    {
        const std::size_t from = console.log().size();
        const double time = answered(console, "IPPort 23", "IPPort 23");
        EXPECT_GE(time, kTimeOut - 0.1);
        EXPECT_LT(time, kTimeOut + kOverhead);
        EXPECT_TRUE(console.log().holds("lpc_proxy_call: ", from));
    }
};

TEST_F(BusFaults, aDeadBusCostsNoAnswer)
{
    device_.startPeers();
    Console console(device_, kExternal);
    device_.stopBus();
    console.waitForPrinted("eventbus_on_data_available: ");
    console.waitForPrinted("lpc_service_on_connect");
    expectUsualAnswers(console);
    EXPECT_TRUE(console.log().holds("publishEvent(controlUserConfigChanged SYSTEM_CMD_REQ_DEFAULT!): ", 0));
    const std::size_t from = console.log().size();
    EXPECT_LT(answered(console, "IPPort 23", "IPPort 23"), kAtOnce);
    EXPECT_TRUE(console.log().holds("lpc_proxy_call: ", from));
}

TEST_F(BusFaults, aRestartedBusIsUsedAgain)
{
    Console console(device_, kExternal);
    for (int i = 0; i < 3; ++i) {
        device_.stopBus();
        expectUsualAnswers(console);
        device_.startBus();
        expectServed(kExternalService);
        expectAnnounced(console);
        expectUsualAnswers(console);
    }
    // The listener ended with the first bus, and said so once.
    const std::string log = console.log().from(0);
    const std::size_t first = log.find("eventbus_on_data_available: ");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(log.find("eventbus_on_data_available: ", first + 1), std::string::npos);
}

TEST_F(BusFaults, aBusThatIsAwayForAMomentOnlyIsNotMissed)
{
    Console console(device_, kExternal);
    device_.stopBus();
    device_.startBus();
    expectServed(kExternalService);
    expectAnnounced(console);
    expectUsualAnswers(console);
}

TEST_F(BusFaults, aFrozenBusCostsACallItsTimeOutAndOthersNothing)
{
    device_.startPeers();
    Console console(device_, kExternal);
    freezeBus();
    expectUsualAnswers(console);
    expectTimeOut(console);
    expectUsualAnswers(console);
    device_.takeEvents();
    device_.bus().signal(SIGCONT);
    // What was announced meanwhile arrives.
    device_.waitForEvent("controlUserConfigChanged", R"({"control":{"ledMode":true}})");
    EXPECT_LT(answered(console, "IPPort 23", "IPPort 23"), kAtOnce);
    expectServed(kExternalService);
    // The listener lives.
    const std::size_t from = console.log().size();
    EXPECT_EQ(publishEvent("networkStatusConfigChanged", "after"), 0);
    console.waitForPrinted("params=after", from);
}

TEST_F(BusFaults, aBusThatHangsAtItsReturnCostsOneTimeOutInAll)
{
    Console console(device_, kExternal);
    device_.stopBus();
    device_.startBus();
    freezeBus();
    std::vector<double> times;
    // Long enough for several attempts to connect, one a second.
    for (const auto start = steady_clock::now(); steady_clock::now() - start < std::chrono::seconds(8);) {
        times.push_back(answered(console, "Blink on", "Blink on"));
        times.push_back(answered(console, "Blink off", "Blink off"));
    }
    std::sort(times.begin(), times.end());
    EXPECT_GE(times.back(), kTimeOut - 0.1);
    EXPECT_LT(times.back(), kTimeOut + kOverhead);
    EXPECT_LT(times[times.size() - 2], kAtOnce);
    device_.bus().signal(SIGCONT);
    expectServed(kExternalService);
    expectAnnounced(console);
    expectUsualAnswers(console);
}

// By the engine itself: it takes megabytes to fill a connection.
TEST_F(BusFaults, aFrozenBusThatTakesNoMoreCostsAPublisherOneTimeOutInAll)
{
    const std::string payload(1'000'000, 'x');
    ASSERT_EQ(eventbus_publish("bulk", payload.c_str()), 0);
    freezeBus();
    const auto publish = [&] {
        const auto start = steady_clock::now();
        const bool published = eventbus_publish("bulk", payload.c_str()) == 0;
        return std::pair(published, std::chrono::duration<double>(steady_clock::now() - start).count());
    };
    auto [published, time] = publish();
    for (int i = 0; published && i < 100; ++i) {
        EXPECT_LT(time, kAtOnce);
        std::tie(published, time) = publish();
    }
    ASSERT_FALSE(published);
    EXPECT_GE(time, kTimeOut - 0.1);
    EXPECT_LT(time, kTimeOut + kOverhead);
    for (const auto start = steady_clock::now(); steady_clock::now() - start < std::chrono::seconds(3);) {
        std::tie(published, time) = publish();
        EXPECT_FALSE(published);
        EXPECT_LT(time, kAtOnce);
    }
    device_.bus().signal(SIGCONT);
    waitFor("the bus", [&] { return publish().first; });
}

TEST_F(BusFaults, aBusThatIsKilledWhileItIsFrozen)
{
    Console console(device_, kExternal);
    freezeBus();
    expectUsualAnswers(console);
    device_.stopBus();
    console.waitForPrinted("eventbus_on_data_available: ");
    expectUsualAnswers(console);
    device_.startBus();
    expectServed(kExternalService);
    expectAnnounced(console);
}

TEST_F(BusFaults, aHungPeerCostsItsTimeOutPerCall)
{
    device_.setPeer("networkd", "TelnetRestart", {.silent = true});
    device_.startPeers();
    Console console(device_, kExternal);
    expectTimeOut(console);
    expectUsualAnswers(console);
    expectTimeOut(console);
    expectUsualAnswers(console);
    // Others are called as ever.
    EXPECT_LT(answered(console, "TrigCEC1 on", "TrigCEC1 on"), kAtOnce);
    EXPECT_FALSE(device_.takeCalls().empty());
}

TEST_F(BusFaults, aMissingPeerCostsNothing)
{
    device_.setPeer("networkd", "TelnetRestart", {.absent = true});
    device_.startPeers();
    Console console(device_, kExternal);
    for (int i = 0; i < 3; ++i) {
        const std::size_t from = console.log().size();
        EXPECT_LT(answered(console, "IPPort 23", "IPPort 23"), kAtOnce);
        EXPECT_TRUE(console.log().holds("lpc_proxy_call: ", from));
    }
}

TEST_F(BusFaults, bothInstancesComeBackToARestartedBus)
{
    Console external(device_, kExternal);
    Console internal(device_, kInternal);
    device_.stopBus();
    expectUsualAnswers(external);
    expectUsualAnswers(internal);
    device_.startBus();
    expectServed(kExternalService);
    waitFor("the internal service", [&] { return callMethod(kInternalService, "HDBTRS232Set", std::nullopt) == 0; });
    expectAnnounced(internal);
    expectAnnounced(external);
}

}  // namespace
