// A bus that dies, comes back or hangs, and peers that hang: what the console loses, and what it answers all the same.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <vector>

#include "endToEnd/daemonTest.h"
#include "faults/patientClock.h"

namespace {

using local::Store;
using std::chrono::steady_clock;

// Seconds, upper ones by a clock that forgives what the machine is late. Generous: the usual time is some milliseconds.
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

    // Does something and returns the seconds that took.
    struct Took {
        double real;
        double counted;  // of those in which the machine was not late
    };
    template <class Work>
    Took timed(Work work)
    {
        const double counted = clock_.now();
        const auto start = steady_clock::now();
        work();
        return {std::chrono::duration<double>(steady_clock::now() - start).count(), clock_.now() - counted};
    }

    // Types a command and expects its one reply.
    Took answered(Console& console, const std::string& command, const std::string& reply)
    {
        return timed([&] { EXPECT_EQ(console.answer(command + "\r", "\n"), reply + "\r\n"); });
    }

    static void expectTimeOut(const Took& took)
    {
        EXPECT_GE(took.real, kTimeOut - 0.1);
        EXPECT_LT(took.counted, kTimeOut + kOverhead);
    }

    // What needs no bus, and what can do without: in the usual time.
    void expectUsualAnswers(Console& console)
    {
        std::vector<double> times;
        for (int i = 0; i < 5; ++i) {
            times.push_back(answered(console, "nonsense", "Command FAILED: (nonsense)").counted);
            times.push_back(answered(console, "Blink on", "Blink on").counted);  // cannot be announced
            times.push_back(answered(console, "Blink on", "Blink on").counted);  // cannot be published
            times.push_back(answered(console, "Blink sta", "Blink on").counted);
            times.push_back(answered(console, "Blink off", "Blink off").counted);
            times.push_back(answered(console, "IPPort sta", "IPPort 23").counted);
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
    void expectTimeOut(Console& console)
    {
        const std::size_t from = console.log().size();
        expectTimeOut(answered(console, "IPPort 23", "IPPort 23"));
        EXPECT_TRUE(console.log().holds("lpc_proxy_call: ", from));
    }

private:
    PatientClock clock_{std::filesystem::path(device_.directory()).parent_path()};
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
    EXPECT_LT(answered(console, "IPPort 23", "IPPort 23").counted, kAtOnce);
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
    EXPECT_LT(answered(console, "IPPort 23", "IPPort 23").counted, kAtOnce);
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
    std::vector<Took> times;
    // Long enough for several attempts to connect, one a second.
    for (const auto start = steady_clock::now(); steady_clock::now() - start < std::chrono::seconds(8);) {
        times.push_back(answered(console, "Blink on", "Blink on"));
        times.push_back(answered(console, "Blink off", "Blink off"));
    }
    std::sort(times.begin(), times.end(),
              [](const Took& one, const Took& other) { return one.counted < other.counted; });
    expectTimeOut(times.back());
    EXPECT_LT(times[times.size() - 2].counted, kAtOnce);
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
    bool published = false;
    const auto publish = [&] { return timed([&] { published = eventbus_publish("bulk", payload.c_str()) == 0; }); };
    Took took = publish();
    for (int i = 0; published && i < 100; ++i) {
        EXPECT_LT(took.counted, kAtOnce);
        took = publish();
    }
    ASSERT_FALSE(published);
    expectTimeOut(took);
    for (const auto start = steady_clock::now(); steady_clock::now() - start < std::chrono::seconds(3);) {
        took = publish();
        EXPECT_FALSE(published);
        EXPECT_LT(took.counted, kAtOnce);
    }
    device_.bus().signal(SIGCONT);
    waitFor("the bus", [&] {
        publish();
        return published;
    });
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
    EXPECT_LT(answered(console, "TrigCEC1 on", "TrigCEC1 on").counted, kAtOnce);
    EXPECT_FALSE(device_.takeCalls().empty());
}

TEST_F(BusFaults, aMissingPeerCostsNothing)
{
    device_.setPeer("networkd", "TelnetRestart", {.absent = true});
    device_.startPeers();
    Console console(device_, kExternal);
    for (int i = 0; i < 3; ++i) {
        const std::size_t from = console.log().size();
        EXPECT_LT(answered(console, "IPPort 23", "IPPort 23").counted, kAtOnce);
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
