// A command in pieces against a transmitter that takes the first piece and fails at the second: the built daemon on the
// bundled engine and a private bus.
#include <atomic>
#include <exception>
#include <mutex>
#include <string>
#include <sys/eventfd.h>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "endToEnd/testDevice.h"
#include "platform/lpc.h"
#include "support/pseudoTerminal.h"
#include "support/waiting.h"

namespace {

// Owns the service of a path and fails every request but the first.
class FailingTransmitter {
public:
    explicit FailingTransmitter(const std::string& service) : stop_(::eventfd(0, EFD_CLOEXEC))
    {
        thread_ = std::thread([this, service] {
            local::serveMethods(
                service, {"SetCmdOn"}, stop_.get(), [this] { ready_ = true; },
                [this](const local::Request& request) { return take(request); });
        });
        waitFor("the transmitter", [this] { return ready_.load(); });
    }
    ~FailingTransmitter()
    {
        eventfd_write(stop_.get(), 1);
        thread_.join();
    }
    FailingTransmitter(const FailingTransmitter&) = delete;
    FailingTransmitter& operator=(const FailingTransmitter&) = delete;

    std::vector<std::string> requests()
    {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

private:
    local::Answer take(const local::Request& request)
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request.params.value_or("(none)"));
        return {.failed = requests_.size() > 1, .data = {}};
    }

    UniqueFd stop_;
    std::thread thread_;
    std::atomic<bool> ready_{false};
    std::mutex mutex_;
    std::vector<std::string> requests_;
};

struct Path {
    const char* service;
    const char* line;
    const char* busyFlag;
};

void sendThreePieces(const Path& path)
{
    TestDevice device;
    device.put(local::Store::settings, "control.displayControl.output1.triger.command",
               R"({"content":{"on":"A1 2c A2 2c A3","feedbackOn":"B1"},"end":{"on":"CR","feedbackOn":"None"},)"
               R"("commandWait":true})");
    device.setPeer(path.service, "SetCmdOn", {.absent = true});
    device.startPeers();
    FailingTransmitter transmitter(path.service);
    PseudoTerminal line;
    const OutputFile output;
    const auto daemon = device.startDaemon("externalComd", {line.device()}, output);
    const auto passLoop = [&] { return lpc_proxy_call("lpcExampledNoUse", "wpDispBtn", "RS232zone") == 0; };
    waitFor("the loop", passLoop);

    line.type(std::string(path.line) + "\r");
    // The reset of the busy flag is the last thing that the command does.
    device.waitForEvent("controlStatusConfigChanged", "{\"control\":{\"displayControl\":{\"output1\":{\"transmission\":"
                                                      "{\"" +
                                                          std::string(path.busyFlag) + "\":false}}}}}");
    waitFor("the loop", passLoop);
    EXPECT_EQ(transmitter.requests(),
              (std::vector<std::string>{
                  R"({"displayControl":{"fiveSecDelay":0 ,"fbVerify":0 ,"sendcount":1 ,"sendData":"A1 0D",)"
                  R"("fbData":"B1","fbEndNone":0,"leadingFlag":1,"writeNull":0,"readNull":0}})",
                  R"({"displayControl":{"fiveSecDelay":1 ,"fbVerify":0 ,"sendcount":1 ,"sendData":"A2 0D",)"
                  R"("fbData":"B1","fbEndNone":0,"leadingFlag":0,"writeNull":0,"readNull":0}})"}));
    EXPECT_EQ(line.takeOutput(), "");
    EXPECT_TRUE(output.holds("lpc_proxy_call: ", 0));
}

// The bundled engine keeps its connections by the thread.
void onItsOwnThread(const Path& path)
{
    std::string failure;
    std::thread([&] {
        try {
            sendThreePieces(path);
        } catch (const std::exception& error) {
            failure = error.what();
        }
    }).join();
    EXPECT_EQ(failure, "");
}

TEST(PiecesAtTheBus, ASecondPieceThatFailsOnTheSerialPathEndsTheCommand)
{
    onItsOwnThread({"displayControl", "TrigRS1 on", "rs232"});
}

TEST(PiecesAtTheBus, ASecondPieceThatFailsOnTheNetworkPathEndsTheCommand)
{
    onItsOwnThread({"displayControlTelnetClient", "TrigIP1 on", "telnet"});
}

}  // namespace
