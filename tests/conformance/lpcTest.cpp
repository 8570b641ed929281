// Calls between processes, and what happens when the other side, or the bus, is not there.
#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

#include "conformanceTest.h"
#include "platform/lpc.h"

namespace {

// A service in this process; its method notes what it is given.
class Service {
public:
    explicit Service(const char* name)
    {
        const lpc_method methods[] = {{"note", note}};
        service_ = lpc_service_create(name, methods, 1, this);
        EXPECT_NE(service_, nullptr);
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ~Service() { lpc_service_destroy(service_); }

    [[nodiscard]] int fd() const { return lpc_service_fileno(service_); }
    int serve() { return lpc_service_on_connect(service_); }
    /// Serves until so many calls have come.
    bool serveUntil(std::size_t count)
    {
        while (noted.size() < count) {
            if (!isReadable(fd(), kLongEnough) || serve() != 0) {
                return false;
            }
        }
        return true;
    }

    std::vector<std::string> noted;

private:
    static int note(void* context, lpc_request* request)
    {
        const char* params = lpc_request_params(request);
        static_cast<Service*>(context)->noted.emplace_back(params != nullptr ? params : "(null)");
        return lpc_request_completed(request);
    }

    lpc_service* service_;
};

class Lpc : public ConformanceTest {
protected:
    // A service of the second process.
    static ChildProcess served(const std::string& name)
    {
        ChildProcess process = peer({"serve", name});
        EXPECT_EQ(process.line(), "ready");
        return process;
    }

    static void expectFailure(const char* service, const char* method)
    {
        errno = 0;
        EXPECT_NE(lpc_proxy_call(service, method, "x"), 0);
        EXPECT_NE(errno, 0);
    }

    static void expectFailure(const char* service, const char* method, double withinSeconds)
    {
        EXPECT_TRUE(isOnceDoneWithin(withinSeconds, [&] { expectFailure(service, method); }));
    }
};

TEST_F(Lpc, ArgumentsArriveAsTheyWere)
{
    ChildProcess process = served("echo");
    EXPECT_EQ(lpc_proxy_call("echo", "say", nullptr), 0);
    EXPECT_EQ(process.line(), "null");
    EXPECT_EQ(lpc_proxy_call("echo", "say", ""), 0);
    EXPECT_EQ(process.line(), "text ");
    EXPECT_EQ(lpc_proxy_call("echo", "say", "a b"), 0);
    EXPECT_EQ(process.line(), "text 612062");
    EXPECT_EQ(lpc_proxy_call("echo", "say", "\xff\xe9\x01"), 0);
    EXPECT_EQ(process.line(), "text ffe901");
}

TEST_F(Lpc, ACallHasCompletedWhenItReturns)
{
    ChildProcess process = served("later");
    std::thread answer([&] {
        EXPECT_EQ(process.line(), "called");
        process.closeInput();
    });
    EXPECT_EQ(lpc_proxy_call("later", "completeLater", nullptr), 0);
    answer.join();
}

TEST_F(Lpc, AMissingServiceAnswersAtOnce)
{
    expectFailure("nobody", "method", 1.0);
}

TEST_F(Lpc, AMissingMethodAnswersAtOnce)
{
    const ChildProcess process = served("service");
    expectFailure("service", "noSuchMethod", 1.0);
    expectFailure("service", "", 1.0);
    expectFailure("service", "no-name", 1.0);
    expectFailure("", "say", 1.0);
    expectFailure("no such name", "say", 1.0);
    expectFailure(nullptr, "say", 1.0);
    expectFailure("service", nullptr, 1.0);
}

TEST_F(Lpc, AForgottenCompletionDoesNotHangItsCaller)
{
    const ChildProcess process = served("service");
    expectFailure("service", "forget", 1.0);
    EXPECT_EQ(lpc_proxy_call("service", "say", nullptr), 0);
}

TEST_F(Lpc, AServiceThatEndsFailsItsCallers)
{
    EXPECT_TRUE(eventually([] {
        const ChildProcess process = served("service");
        const Stopwatch watch;
        expectFailure("service", "die");
        return watch.seconds() < 1.0;
    }));
}

TEST_F(Lpc, NoAnswerWithinThreeSecondsIsAFailure)
{
    ChildProcess process = served("service");
    EXPECT_TRUE(isOnceDoneWithin(5.0, [] {
        const Stopwatch watch;
        errno = 0;
        EXPECT_NE(lpc_proxy_call("service", "completeLater", nullptr), 0);
        EXPECT_EQ(errno, ETIMEDOUT);
        EXPECT_GE(watch.seconds(), 2.9);
    }));
    // The answer that comes too late disturbs no other call.
    process.closeInput();
    const ChildProcess other = served("other");
    EXPECT_EQ(lpc_proxy_call("other", "say", "x"), 0);
}

TEST_F(Lpc, AHungServiceCostsOnlyItsTimeOut)
{
    ChildProcess process = served("service");
    process.signal(SIGSTOP);
    expectFailure("service", "say", 5.0);
    const ChildProcess other = served("other");
    EXPECT_TRUE(isOnceDoneWithin(1.0, [] { EXPECT_EQ(lpc_proxy_call("other", "say", "x"), 0); }));
}

TEST_F(Lpc, AWaitCountsInMilliseconds)
{
    ChildProcess process = served("service");
    lpc_completion* completion = lpc_proxy_call_with_reply("service", "completeLater", "x");
    ASSERT_NE(completion, nullptr);
    EXPECT_TRUE(isOnceDoneWithin(2.0, [&] {
        const Stopwatch watch;
        errno = 0;
        EXPECT_NE(lpc_completion_wait(completion, 200), 0);
        EXPECT_EQ(errno, ETIMEDOUT);
        EXPECT_GE(watch.seconds(), 0.19);
    }));
    EXPECT_EQ(lpc_completion_data(completion), nullptr);
    process.closeInput();
    EXPECT_EQ(lpc_completion_wait(completion, 9'000), 0);
    EXPECT_EQ(lpc_completion_data(completion), nullptr);
    EXPECT_EQ(lpc_completion_wait(completion, 0), 0);
    lpc_completion_destroy(completion);
}

TEST_F(Lpc, AWaitReportsAFailedCall)
{
    const ChildProcess process = served("service");
    for (const auto& [service, method] :
         {std::pair("service", "forget"), std::pair("service", "none"), std::pair("nobody", "say")}) {
        EXPECT_TRUE(isOnceDoneWithin(1.0, [&, service = service, method = method] {
            lpc_completion* completion = lpc_proxy_call_with_reply(service, method, nullptr);
            ASSERT_NE(completion, nullptr);
            errno = 0;
            EXPECT_NE(lpc_completion_wait(completion, 9'000), 0);
            EXPECT_NE(errno, 0);
            EXPECT_EQ(lpc_completion_data(completion), nullptr);
            lpc_completion_destroy(completion);
        }));
    }
    EXPECT_NE(lpc_completion_wait(nullptr, 0), 0);
    lpc_completion_destroy(nullptr);
}

TEST_F(Lpc, CompletionsMayOverlapAndBeAbandoned)
{
    ChildProcess process = served("service");
    lpc_completion* first = lpc_proxy_call_with_reply("service", "say", "1");
    lpc_completion* abandoned = lpc_proxy_call_with_reply("service", "say", "2");
    lpc_completion* third = lpc_proxy_call_with_reply("service", "say", "3");
    lpc_completion_destroy(abandoned);
    EXPECT_EQ(lpc_completion_wait(third, 9'000), 0);
    EXPECT_EQ(lpc_completion_wait(first, 9'000), 0);
    lpc_completion_destroy(first);
    lpc_completion_destroy(third);
    for (const char* line : {"text 31", "text 32", "text 33"}) {
        EXPECT_EQ(process.line(), line);
    }
}

TEST_F(Lpc, ANameHasOneOwner)
{
    ChildProcess process = served("service");
    errno = 0;
    EXPECT_EQ(lpc_service_create("service", nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(errno, EEXIST);
    // The refused one does not wait in line for the name.
    process.closeInput();
    EXPECT_EQ(process.wait(), 0);
    expectFailure("service", "say", 1.0);
}

TEST_F(Lpc, ADestroyedServiceGivesItsNameBackAtOnce)
{
    for (int i = 0; i < 20; ++i) {
        const Service service("service");
    }
    ChildProcess process = peer({"serve", "service"});
    EXPECT_EQ(process.line(), "ready");
    lpc_service_destroy(nullptr);
}

TEST_F(Lpc, ServiceNamesHaveAGrammar)
{
    for (const char* name : {"", "a b", "9a", "a.b", "a/b", "\xff"}) {
        errno = 0;
        EXPECT_EQ(lpc_service_create(name, nullptr, 0, nullptr), nullptr) << name;
        EXPECT_NE(errno, 0) << name;
    }
    EXPECT_EQ(lpc_service_create(nullptr, nullptr, 0, nullptr), nullptr);
}

TEST_F(Lpc, OneRequestIsServedAtATime)
{
    Service service("own");
    std::vector<ChildProcess> callers;
    for (int i = 0; i < 3; ++i) {
        callers.push_back(peer({"call", "own", "note", "x"}));
    }
    for (std::size_t count = 1; count <= 3; ++count) {
        ASSERT_TRUE(eventually([&] {
            const std::size_t before = service.noted.size();
            EXPECT_EQ(service.serve(), 0);
            EXPECT_LE(service.noted.size(), before + 1);
            return service.noted.size() >= count;
        }));
    }
    for (ChildProcess& caller : callers) {
        EXPECT_EQ(caller.line(), "completed");
    }
}

TEST_F(Lpc, RequestsThatWaitKeepTheDescriptorReadable)
{
    Service service("own");
    std::vector<lpc_completion*> calls;
    for (int i = 0; i < 20; ++i) {
        calls.push_back(lpc_proxy_call_with_reply("own", "note", std::to_string(i).c_str()));
    }
    ASSERT_TRUE(service.serveUntil(20));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(service.noted[static_cast<std::size_t>(i)], std::to_string(i));
        EXPECT_EQ(lpc_completion_wait(calls[static_cast<std::size_t>(i)], 9'000), 0);
        lpc_completion_destroy(calls[static_cast<std::size_t>(i)]);
    }
}

TEST_F(Lpc, ServingDoesNotBlock)
{
    Service service("own");
    const int fd = service.fd();
    EXPECT_GE(fd, 0);
    ASSERT_TRUE(eventually([&] {
        EXPECT_EQ(service.serve(), 0);
        return !isReadable(fd);
    }));
    EXPECT_EQ(service.serve(), 0);
    EXPECT_TRUE(service.noted.empty());
    EXPECT_LT(lpc_service_fileno(nullptr), 0);
}

TEST_F(Lpc, AHandlerMayPublishCallAndStore)
{
    const ChildProcess other = served("other");
    Listener listener({"topic"});
    static constexpr auto handler = [](void* done, lpc_request* request) {
        EXPECT_EQ(lpc_proxy_call("other", "say", lpc_request_params(request)), 0);
        EXPECT_EQ(eventbus_publish("topic", lpc_request_params(request)), 0);
        EXPECT_EQ(user_config_update(R"({"t":{"a":1}})"), 0);
        EXPECT_EQ(lpc_request_completed(request), 0);
        EXPECT_NE(lpc_request_completed(request), 0) << "a request is completed once";
        *static_cast<bool*>(done) = true;
        return 0;
    };
    const lpc_method methods[] = {{"busy", handler}};
    bool done = false;
    lpc_service* service = lpc_service_create("own", methods, 1, &done);
    ASSERT_NE(service, nullptr);
    ChildProcess caller = peer({"call", "own", "busy", "x"});
    while (!done && isReadable(lpc_service_fileno(service), kLongEnough)) {
        ASSERT_EQ(lpc_service_on_connect(service), 0);
    }
    EXPECT_EQ(listener.next(), (Event{"topic", "x"}));
    EXPECT_EQ(caller.line(), "completed");
    lpc_service_destroy(service);
}

TEST_F(Lpc, WithoutABusCallsFailAtOnceUntilItIsBack)
{
    const auto callInVain = [] {
        for (int i = 0; i < 50; ++i) {
            expectFailure("service", "say");
            EXPECT_EQ(lpc_proxy_call_with_reply("service", "say", nullptr), nullptr);
        }
        EXPECT_EQ(lpc_service_create("own", nullptr, 0, nullptr), nullptr);
    };
    EXPECT_TRUE(isOnceDoneWithin(1.0, callInVain, [&] {
        loseBus([] {
            const ChildProcess process = served("service");
            return lpc_proxy_call("service", "say", nullptr) == 0;
        });
    }));
    engine->startBus();
    const ChildProcess process = served("service");
    EXPECT_TRUE(eventually([] { return lpc_proxy_call("service", "say", nullptr) == 0; }));
}

TEST_F(Lpc, ABusThatGoesDuringACallFailsIt)
{
    bool first = true;
    EXPECT_TRUE(eventually([&] {
        if (!std::exchange(first, false)) {
            engine->startBus();
        }
        ChildProcess process = served("service");
        EXPECT_TRUE(eventually([] { return lpc_proxy_call("service", "say", nullptr) == 0; }));
        EXPECT_EQ(process.line(), "null");
        std::thread killer([&] {
            EXPECT_EQ(process.line(), "called");
            engine->killBus();
        });
        const Stopwatch watch;
        expectFailure("service", "completeLater");
        killer.join();
        return watch.seconds() < 2.5;
    }));
}

TEST_F(Lpc, AServiceFailsOnceAndComesBackWithTheBus)
{
    Service service("own");
    const int fd = service.fd();
    int calls = 0;
    for (int round = 0; round < 2; ++round) {
        engine->killBus();
        ASSERT_TRUE(isReadable(fd, kLongEnough));
        int failures = 0;
        ASSERT_TRUE(eventually([&] {
            failures += service.serve() != 0 ? 1 : 0;
            return failures > 0;
        }));
        // Quiet from then on. The pause is what is tested: a retry must not be seen either.
        EXPECT_FALSE(isReadable(fd, std::chrono::milliseconds(2'500)));
        EXPECT_EQ(service.serve(), 0);

        engine->startBus();
        ChildProcess caller;
        std::string call;
        ASSERT_TRUE(eventually([&] {
            call = "call " + std::to_string(++calls);
            caller = peer({"call", "own", "note", call});
            std::optional<std::string> outcome;
            while (!(outcome = caller.line(ChildProcess::Seconds(0)))) {
                if (isReadable(fd, std::chrono::milliseconds(10))) {
                    EXPECT_EQ(service.serve(), 0);
                }
            }
            return *outcome == "completed";
        }));
        EXPECT_EQ(std::count(service.noted.begin(), service.noted.end(), call), 1);
        EXPECT_EQ(service.fd(), fd);
    }
}

TEST_F(Lpc, AServiceCanBeDestroyedWithoutABus)
{
    {
        Service service("own");
        engine->killBus();
        ASSERT_TRUE(eventually([&] { return service.serve() != 0; }));
    }
    {
        engine->startBus();
        Service service("own");
        engine->killBus();  // and nobody has noticed
    }
}

TEST_F(Lpc, AHungBusDoesNotHoldACallerForEver)
{
    ChildProcess process = served("service");
    bool frozen = false;
    const auto freeze = [&] {
        if (std::exchange(frozen, true)) {
            engine->thawBus();
        }
        EXPECT_TRUE(eventually([] { return lpc_proxy_call("service", "say", nullptr) == 0; }));
        engine->freezeBus();
    };
    EXPECT_TRUE(isOnceDoneWithin(
        5.0, [] { expectFailure("service", "say"); }, freeze));
    EXPECT_TRUE(isOnceDoneWithin(5.0, [] { EXPECT_EQ(lpc_service_create("own", nullptr, 0, nullptr), nullptr); }));
    engine->thawBus();
    EXPECT_TRUE(eventually([] { return lpc_proxy_call("service", "say", nullptr) == 0; }));
}

}  // namespace
