// The service's methods where a transcript does not reach: what a service offers, a port that is not open, texts of
// any length.
#include "core/serviceEndpoints.h"

#include <atomic>
#include <poll.h>
#include <thread>

#include <gtest/gtest.h>

#include "core/processName.h"
#include "peers/timesIn.h"
#include "support/consoleRecord.h"
#include "support/outputFile.h"
#include "support/recordingPlatform.h"
#include "support/waiting.h"

namespace {

using Names = std::vector<std::string>;

// The role's service, served by a thread in the loop's place.
class Endpoints : public testing::Test {
protected:
    void SetUp() override { recording::reset(); }

    void serve(int role)
    {
        console_.get().sourceType = role;
        console_.get().serialdev = "/nonexistent/line";
        setProgramName(role == kInternalHdbtLink ? "/usr/bin/internalComd" : "externalComd");
        service_ = createService(console_.get());
        ASSERT_NE(service_, nullptr);
        server_ = std::thread([this] {
            while (!stop_) {
                constexpr int kPollMs = 5;
                pollfd waiting{lpc_service_fileno(service_), POLLIN, 0};
                if (::poll(&waiting, 1, kPollMs) > 0) {
                    const RecordLock lock(console_.get().mutex);
                    lpc_service_on_connect(service_);
                }
            }
        });
    }

    void TearDown() override
    {
        stop_ = true;
        if (server_.joinable()) {
            server_.join();
        }
        if (service_ != nullptr) {
            lpc_service_destroy(service_);
        }
    }

    struct Called {
        int result;
        std::string printed;
        std::string written;
    };
    Called call(const std::string& method, const std::optional<std::string>& text)
    {
        const OutputFile output;
        Called called{};
        {
            const CapturedOutput captured(output);
            called.result = recording::callMethod(service_, method, text);
        }
        called.printed = output.from(0);
        called.written = console_.takeReplies();
        return called;
    }

    ConsoleRecord console_;
    lpc_service* service_ = nullptr;
    std::atomic<bool> stop_{false};
    std::thread server_;
};

}  // namespace

TEST_F(Endpoints, ofTheExternalRoleAreTwo)
{
    serve(kExternalConsole);
    EXPECT_STREQ(serviceName(kExternalConsole), "lpcExampledNoUse");
    EXPECT_EQ(recording::methodNames(service_), (Names{"UartReset", "wpDispBtn"}));
}

TEST_F(Endpoints, ofTheInternalRoleAreFour)
{
    serve(kInternalHdbtLink);
    EXPECT_STREQ(serviceName(kInternalHdbtLink), "lpcExampledNoUse2");
    EXPECT_EQ(recording::methodNames(service_), (Names{"UartReset", "RS232zone", "HDBTRS232Set", "RS232zone900XPort"}));
}

TEST_F(Endpoints, ofNoRoleAreNone)
{
    console_.get().sourceType = kNoRole;
    EXPECT_EQ(serviceName(kNoRole), nullptr);
    EXPECT_EQ(createService(console_.get()), nullptr);
}

TEST_F(Endpoints, areNoneWhenThePlatformRefuses)
{
    recording::fail(recording::Fault::serviceCreate);
    for (const int role : {kExternalConsole, kInternalHdbtLink}) {
        console_.get().sourceType = role;
        EXPECT_EQ(createService(console_.get()), nullptr);
    }
}

TEST_F(Endpoints, writeNoMoreThanOneBufferOfHexPieces)
{
    serve(kInternalHdbtLink);
    std::string pieces;
    for (int i = 0; i < 10'000; ++i) {
        pieces += "41 ";
    }
    const Called called = call("RS232zone900XPort", pieces);
    EXPECT_EQ(called.result, 0);
    EXPECT_EQ(called.written, std::string(85, 'A'));  // 255 characters of text
    EXPECT_EQ(timesIn(called.printed, "HHH!!! params=41 41 "), 1U);

    std::string shortest;
    for (int i = 0; i < 10'000; ++i) {
        shortest += "7 ";
    }
    EXPECT_EQ(call("RS232zone900XPort", shortest).written, std::string(128, '\a'));
    EXPECT_EQ(call("RS232zone900XPort", std::string(1'000'000, '4')).written, "D");  // one piece of 255 digits
    EXPECT_EQ(call("RS232zone900XPort", std::string(1'000'000, ' ')).written, "");
    EXPECT_EQ(call("RS232zone900XPort", std::string(254, ' ') + "42").written, "\x04");
}

TEST_F(Endpoints, writeALongTextUpToWhatAReplyHolds)
{
    serve(kInternalHdbtLink);
    const std::string text(4'095, '%');
    EXPECT_EQ(call("RS232zone", text).written, text);
    const Called called = call("RS232zone", std::string(1'000'000, '%'));
    EXPECT_EQ(called.result, 0);
    EXPECT_GE(called.written.size(), 4'095U);
    EXPECT_EQ(called.written.find_first_not_of('%'), std::string::npos);
}

TEST_F(Endpoints, completeTheirRequestsWithoutAPort)
{
    serve(kInternalHdbtLink);
    console_.closePort();
    const Called text = call("RS232zone", "x");
    EXPECT_EQ(text.result, 0);
    EXPECT_EQ(timesIn(text.printed, "write: Bad file descriptor\n"), 1U);
    EXPECT_EQ(call("RS232zone900XPort", "41").result, 0);
    EXPECT_EQ(call("HDBTRS232Set", std::nullopt).result, 0);
    EXPECT_EQ(call("UartReset", std::nullopt).result, 0);
    console_.closePort();
    EXPECT_EQ(call("HDBTRS232Set", "default").result, 0);
}

TEST_F(Endpoints, reportALinkThatCannotBeOpenedAgain)
{
    serve(kInternalHdbtLink);
    const Called called = call("HDBTRS232Set", "default");
    EXPECT_EQ(called.result, 0);
    EXPECT_EQ(timesIn(called.printed, "] uart_open2 (/nonexistent/line,115200,8,0,1,0)\r\n"
                                      "[uart_open2] open uart dev /nonexistent/line failed!\r\n"
                                      "++++++++\tpStrExample->uart NULL!!!!!!\r\n"),
              1U)
        << called.printed;
    ConsoleParameter& record = console_.get();
    const RecordLock lock(record.mutex);
    EXPECT_EQ(record.uart.hold(), nullptr);
    EXPECT_EQ(record.hdbt_baudrate, 115200);
    EXPECT_EQ(record.hdbt_datalen, 8);
    EXPECT_EQ(record.hdbt_parity, 0);
    EXPECT_EQ(record.hdbt_stop, 1);
}

TEST_F(Endpoints, askForTheLinksOwnSettingsInTheirOrder)
{
    serve(kInternalHdbtLink);
    recording::take();
    call("HDBTRS232Set", "user");
    const recording::Record asked = recording::take();
    Names paths;
    for (const recording::Query& query : asked.queries) {
        EXPECT_EQ(query.store, recording::Store::settings);
        paths.push_back(query.path);
    }
    EXPECT_EQ(paths, (Names{"system.uart.interface3.baudrate", "system.uart.interface3.databit",
                            "system.uart.interface3.parity", "system.uart.interface2.stopbit"}));
}

TEST_F(Endpoints, resetOpensTheBoardsDeviceAndLeavesTheRecordAsItIs)
{
    for (const int role : {kExternalConsole, kInternalHdbtLink}) {
        serve(role);
        recording::put(recording::Store::settings, "system.uart.interface1",
                       R"({"baudrate":19200,"databit":7,"parity":1,"stopbit":2})");
        console_.get().baudrate = 4'800;
        const Called called = call("UartReset", "now");
        EXPECT_EQ(called.result, 0);
        EXPECT_EQ(called.printed.find("[UartReset]params=now\r\n"), 0U);
        ConsoleParameter& record = console_.get();
        {
            const RecordLock lock(record.mutex);
            EXPECT_STREQ(record.lastTried.path, "/dev/ttyS6");
            EXPECT_EQ(record.lastTried.speed, 19'200);
            EXPECT_EQ(record.lastTried.dataBits, 7);
            EXPECT_EQ(record.lastTried.parity, 1);
            EXPECT_EQ(record.lastTried.stopBits, 2);
            EXPECT_EQ(record.baudrate, 4'800);
            EXPECT_STREQ(record.serialdev, "/nonexistent/line");
        }
        EXPECT_EQ(call("UartReset", std::nullopt).printed.find("[UartReset]params=(null)\r\n"), 0U);
        recording::reset();
        call("UartReset", "");
        {
            const RecordLock lock(record.mutex);
            EXPECT_EQ(record.lastTried.speed, 0);
            EXPECT_EQ(record.lastTried.dataBits, 0);
            EXPECT_EQ(record.lastTried.parity, 0);
            EXPECT_EQ(record.lastTried.stopBits, 0);
        }
        TearDown();
        service_ = nullptr;
        stop_ = false;
    }
}
