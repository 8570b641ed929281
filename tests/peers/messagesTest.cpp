// What the daemon prints and on which of its two streams: others read these lines.
#include <csignal>
#include <unistd.h>

#include <gtest/gtest.h>

#include "peers/instance.h"
#include "peers/timesIn.h"
#include "platform/lpc.h"
#include "support/waiting.h"

namespace {

constexpr const char* kSystem = "systemUserConfigChanged";

// Each stands once in its stream and not in the other.
void expectOnce(const std::string& text, const std::string& there, const std::string& notThere)
{
    EXPECT_EQ(timesIn(there, text), 1U) << text << "\nin: " << there;
    EXPECT_EQ(timesIn(notThere, text), 0U) << text << "\nin: " << notThere;
}

void expectOutput(const Instance& instance, const std::string& text)
{
    expectOnce(text, instance.output(), instance.errors());
}

void expectError(const Instance& instance, const std::string& text)
{
    expectOnce(text, instance.errors(), instance.output());
}

}  // namespace

TEST(Messages, ofAStartOfTheConsole)
{
    onADevice([](TestDevice& device) {
        device.put(local::Store::settings, "system.uart.interface1",
                   R"({"baudrate":19200,"databit":8,"parity":0,"stopbit":2})");
        Instance external(device, InstanceRole::external);
        const std::string upTime = TestDevice::read(local::Store::settings, "system.upOnTime").value_or("none");
        ASSERT_EQ(upTime.size(), 13U) << upTime;  // "15 11:24:43" in its quotes
        expectOutput(external, "getUpOnTime=" + upTime.substr(1, 11) + "\n, strlen(path)=12\r\n");
        expectError(external, "pConsoleParameterA->serialdev=" + external.line().device() + "\x1b[0m\n");
        expectError(external, "pConsoleParameterA->baudrate=19200\x1b[0m\n");
        expectError(external, "pConsoleParameterA->datalen=8\x1b[0m\n");
        expectError(external, "pConsoleParameterA->parity=0\x1b[0m\n");
        expectError(external, "pConsoleParameterA->stop=2\x1b[0m\n");
        expectOutput(external, "[main]consoleParamA.sourceType=2\n");
        expectOutput(external, "[main]lpc_service_create|lpcExampledNoUse\r\n");
        EXPECT_EQ(timesIn(external.errors(), "[uartParamInit]["), 5U);
    });
}

TEST(Messages, ofAStartOfTheLink)
{
    onADevice([](TestDevice& device) {
        device.put(local::Store::settings, "system.uart.interface3",
                   R"({"baudrate":19200,"databit":7,"parity":1,"stopbit":2})");
        Instance internal(device, InstanceRole::internal);
        expectError(internal, "pConsoleParameterA->hdbt_baudrate=115200\x1b[0m\n");
        expectError(internal, "pConsoleParameterA->hdbt_datalen=8\x1b[0m\n");
        expectError(internal, "pConsoleParameterA->hdbt_parity=0\x1b[0m\n");
        expectError(internal, "pConsoleParameterA->hdbt_stop=1\x1b[0m\n");
        expectOutput(internal, "[main]consoleParamA.sourceType=5\n");
        expectOutput(internal, "[main]lpc_service_create|lpcExampledNoUse2\r\n");
        EXPECT_EQ(timesIn(internal.errors(), "[uartParamInit]["), 4U);
    });
}

TEST(Messages, ofAStartWithMissingSettings)
{
    onADevice([](TestDevice& device) {
        Instance external(device, InstanceRole::external);
        for (const char* field : {"baudrate", "datalen", "parity", "stop"}) {
            expectError(external, std::string("pConsoleParameterA->") + field + "=99\x1b[0m\n");
        }
    });
}

TEST(Messages, ofAStartWithoutADevice)
{
    onADevice([](TestDevice& device) {
        for (const char* name : {"externalComd", "internalComd"}) {
            for (const std::vector<std::string>& arguments : {std::vector<std::string>{}, {"/dev/null", "more"}}) {
                std::vector<std::string> words{daemonPath(name)};
                words.insert(words.end(), arguments.begin(), arguments.end());
                const EndedProgram ended = runToItsEnd(device, words);
                EXPECT_EQ(ended.status, 255);
                EXPECT_EQ(ended.output, "parameter number error!!!\r\n");
                EXPECT_EQ(ended.errors, "");
            }
        }
    });
}

TEST(Messages, ofAStartUnderAnotherName)
{
    onADevice([](TestDevice& device) {
        const std::string other = device.directory() + "-someOther";
        ASSERT_EQ(::symlink(daemonPath("externalComd").c_str(), other.c_str()), 0);
        const EndedProgram ended = runToItsEnd(device, {other, "/dev/null"});
        EXPECT_EQ(ended.status, 255);
        expectOnce("[main]consoleParamA.sourceType=0\n", ended.output, ended.errors);
        EXPECT_EQ(timesIn(ended.output, "lpc_service_create"), 0U);
        expectOnce("lpc_service_create error: Success\n", ended.errors, ended.output);
    });
}

TEST(Messages, ofASecondInstanceOfOneRole)
{
    onADevice([](TestDevice& device) {
        Instance first(device, InstanceRole::internal);
        const PseudoTerminal line;
        const EndedProgram ended = runToItsEnd(device, {daemonPath("internalComd"), line.device()});
        EXPECT_EQ(ended.status, 255);
        expectOnce("lpc_service_create error: File exists\n", ended.errors, ended.output);
        callMethod(first.service(), "RS232zone", "still here");
        EXPECT_EQ(first.line().takeOutputWith("still here"), "still here");
    });
}

TEST(Messages, ofAStartWithoutABus)
{
    onADevice([](TestDevice& device) {
        device.stopBus();
        const PseudoTerminal line;
        const EndedProgram ended = runToItsEnd(device, {daemonPath("externalComd"), line.device()});
        EXPECT_EQ(ended.status, 255);
        EXPECT_EQ(timesIn(ended.errors, "lpc_service_create error: "), 1U) << ended.errors;
    });
}

TEST(Messages, ofADeviceThatCannotBeOpened)
{
    onADevice([](TestDevice& device) {
        const OutputFile output;
        const OutputFile errors;
        const auto process = startApart(device, {daemonPath("externalComd"), "/nonexistent/line"}, output, errors);
        waitFor("the service", [&] { return output.holds("lpc_service_create|", 0); });
        expectOnce("[uart_open2] open uart dev /nonexistent/line failed!\r\n", output.from(0), errors.from(0));
        waitFor("an answer", [] { return lpc_proxy_call("lpcExampledNoUse", "wpDispBtn", "Nope") == 0; });
        EXPECT_GE(timesIn(errors.from(0), "write: Bad file descriptor\n"), 1U);
        EXPECT_EQ(timesIn(output.from(0), "write:"), 0U);
        EXPECT_TRUE(process->running());
    });
}

TEST(Messages, ofTheConsolesMethodsAndLines)
{
    onADevice([](TestDevice& device) {
        Instance external(device, InstanceRole::external);
        callMethod(external.service(), "wpDispBtn", "Nope");
        expectError(external, "params=Nope, strlen(params)=4\x1b[0m\n");
        EXPECT_GE(timesIn(external.errors(), "[uartEvenbusReadline][wpDispBtn]["), 1U);
        EXPECT_GE(timesIn(external.errors(), "\x1b[1;31;33m[main]["), 1U);
        EXPECT_GE(timesIn(external.errors(), "] select success!\x1b[0m\n"), 1U);
        EXPECT_EQ(timesIn(external.output(), "select success!"), 0U);

        external.line().type("half a line");
        external.waitForErrors("] free!\x1b[0m\n");
        expectError(external, "] free!\x1b[0m\n");
        expectError(external, "strcmd900XPort=half a line\x1b[0m\n");
        expectError(external, "totalLenFor900X=11\x1b[0m\n");
        expectError(external, "checkWpString_Fail=0\x1b[0m\n");
        expectError(external, "checkWpString_S=0\x1b[0m\n");
        expectError(external, "checkWpString_E=0\x1b[0m\n");
        external.line().type("x RS232zone\r");
        external.waitForErrors("is fake RS232zone");
        expectError(external, "] is fake RS232zone\x1b[0m\n");
    });
}

TEST(Messages, ofTheLinksMethodsAndLines)
{
    onADevice([](TestDevice& device) {
        device.startPeers();
        Instance internal(device, InstanceRole::internal);
        callMethod(internal.service(), "RS232zone", "text");
        expectOutput(internal, "[RS232zone] params=text, strlen(params)=4\r\n");
        callMethod(internal.service(), "RS232zone900XPort", "41 42");
        expectError(internal, "HHH!!! params=41 42\x1b[0m\n");
        EXPECT_EQ(timesIn(internal.errors(), "\x1b[1;31;36m[RS232zone900XPort]["), 1U);
        callMethod(internal.service(), "HDBTRS232Set", "other");
        expectOutput(internal, "] params=other \r\n");
        expectOutput(internal, "[HDBTRS232Set] Parameter fail, params = other\r\n");
        callMethod(internal.service(), "HDBTRS232Set", "default");
        expectOutput(internal, "] uart_open2 (" + internal.line().device() + ",115200,8,0,1,0)\r\n");
        EXPECT_EQ(timesIn(internal.output(), "[internalComd][uartEvenbusReadline][HDBTRS232Set]["), 3U);

        internal.line().type("ab\r");
        internal.waitForErrors("] hexStringBuf= 61 62 0D\x1b[0m\n");
        expectError(internal, "] hexStringBuf= 61 62 0D\x1b[0m\n");
        expectError(internal, "] isWp:0\x1b[0m\n");
        EXPECT_EQ(timesIn(internal.errors(), "] line=ab\r\x1b[0m\n"), 2U) << internal.errors();
        EXPECT_EQ(timesIn(internal.errors(), "[for900XPortCheckWpCmdd]["), 1U);
        EXPECT_EQ(timesIn(internal.errors(), "[sendTo900xPort]["), 2U);

        internal.line().type("WP_]$\r");
        internal.waitForOutput("[cb_linehandler], line = WP_]$, strlen(line) = 5 \r\n");
        expectOutput(internal, "[cb_linehandler], line = WP_]$, strlen(line) = 5 \r\n");
        expectError(internal, "] line=WP_]$\r\x1b[0m\n");
        expectError(internal, "] line:WP_]$\x1b[0m\n");
        expectError(internal, "] isWp:1\x1b[0m\n");
    });
}

TEST(Messages, ofAHandshakeThatNobodyServes)
{
    onADevice([](TestDevice& device) {
        Instance internal(device, InstanceRole::internal);
        internal.line().type("WP_]$\r");
        internal.waitForErrors("lpc_proxy_call receiveWpCmdd: ");
        EXPECT_EQ(timesIn(internal.errors(), "\nlpc_proxy_call, receiveWpCmdd: "), 5U) << internal.errors();
        EXPECT_EQ(timesIn(internal.errors(), "\nlpc_proxy_call receiveWpCmdd: "), 1U) << internal.errors();
        EXPECT_EQ(timesIn(internal.output(), "lpc_proxy_call"), 0U);
    });
}

TEST(Messages, ofEvents)
{
    onADevice([](TestDevice& device) {
        Instance external(device, InstanceRole::external);
        const std::string document = R"({"system":{"uart":{"interface1":{"baudrate":300}}}})";
        publishEvent(kSystem, document.c_str());
        external.passListener();
        expectError(external, "] pConsoleParameterA->sourceType=2\x1b[0m\n");
        expectError(external, "] params=" + document + "\x1b[0m\n");
        expectOutput(external, "Value Change! intergerFromJson=300\r\n");
        expectOutput(external, "uart_close2()\r\n");
        expectOutput(external, "uart_open2(" + external.line().device() + ",300,99,99,99,0)\r\n");
        publishEvent(kSystem, nullptr);
        publishEvent(kSystem, "nonsense");
        publishEvent("controlStatusConfigChanged", "nonsense");
        publishEvent("UpgradeSlaveVersionQuery", "some state");
        publishEvent("networkStatusConfigChanged",
                     R"({"network":{"valens":{"linkStatus":true},"telnet":{"connect9001Count":3}}})");
        const std::size_t warnings = timesIn(external.errors(), "Warnning! newObj==NULL!\r\n");
        external.passListener();
        expectError(external, "Warnning! ctx==NULL || params==NULL!\r\n");
        expectError(external, "json_token_parse: Invalid argument\n");
        EXPECT_GE(timesIn(external.errors(), "Warnning! newObj==NULL!\r\n"), warnings + 1);
        EXPECT_EQ(timesIn(external.output(), "Warnning!"), 0U);
        expectOutput(external, "unknown upgrade state : some state\n");
        expectError(external, "] ############# g_valensLinkStatus=1\x1b[0m\n");
        expectError(external, "] ############# g_connect9001Count=3\x1b[0m\n");
        EXPECT_EQ(timesIn(external.output(), "params="), 0U);
    });
}

TEST(Messages, ofAnInterruptionWhichEndsTheServiceAlone)
{
    onADevice([](TestDevice& device) {
        Instance external(device, InstanceRole::external);
        external.process().signal(SIGINT);
        external.waitForOutput("[cleanExit] excute lpc_service_destroy(gService)\r\n");
        waitFor("the service to be gone",
                [&] { return lpc_proxy_call(external.service(), "wpDispBtn", "Nope") != 0 && errno != ETIMEDOUT; });
        external.line().takeOutput();
        external.line().type("Nope\r");
        external.line().takeOutputWith("Command FAILED: (Nope)\r\n");
        publishEvent("uartProjectorEvent", "PWR");
        external.line().takeOutputWith("PWR");
        external.process().signal(SIGINT);
        external.line().type("Nope\r");
        external.line().takeOutputWith("Command FAILED: (Nope)\r\n");
        expectOutput(external, "[cleanExit] excute lpc_service_destroy(gService)\r\n");
    });
}

TEST(Messages, ofABusThatGoesAwayWhichEndsTheListenerAlone)
{
    onADevice([](TestDevice& device) {
        Instance external(device, InstanceRole::external);
        device.stopBus();
        external.waitForErrors("eventbus_on_data_available: ");
        external.waitForOutput("lpc_service_on_connect\n");
        expectError(external, "eventbus_on_data_available: Connection reset by peer\n");
        expectOutput(external, "lpc_service_on_connect\n");
        external.line().type("Nope\r");
        external.line().takeOutputWith("Command FAILED: (Nope)\r\n");
        EXPECT_TRUE(external.process().running());
    });
}

// A settings change that another program makes.
TEST(SettingsChange, byAnotherProgramReachesBothInstances)
{
    onADevice([](TestDevice& device) {
        device.put(local::Store::settings, "system.broadcast", "false");
        device.put(local::Store::status, "system.slaveMcu.isReady", "true");
        Instance external(device, InstanceRole::external);
        Instance internal(device, InstanceRole::internal);
        const auto platformctl = [&](const std::vector<std::string>& words) {
            std::vector<std::string> all{PLATFORMCTL};
            all.insert(all.end(), words.begin(), words.end());
            const EndedProgram ended = runToItsEnd(device, all);
            EXPECT_EQ(ended.status, 0) << ended.errors;
            return ended.output;
        };
        platformctl({"config", "set", "system.broadcast", "true"});
        EXPECT_EQ(external.line().takeOutputWith("\r\n"), "Broadcast on\r\n");
        EXPECT_EQ(internal.line().takeOutputWith("\r\n"), "Broadcast on\r\n");

        platformctl({"config", "update",
                     R"({"system":{"uart":{"interface1":{"baudrate":300},"interface3":{"baudrate":600}}}})"});
        external.passListener();
        internal.passListener();
        expectOutput(external, "uart_open2(" + external.line().device() + ",300,99,99,99,0)\r\n");
        expectOutput(internal, "uart_open2(" + internal.line().device() + ",600,8,1,0,0)\r\n");
        // The same again is no change and announced to nobody.
        platformctl({"config", "set", "system.uart.interface1.baudrate", "300"});
        external.passListener();
        expectOutput(external, "uart_close2()\r\n");

        platformctl({"status", "set", "control.wpHsk.identifyStatus", "success"});
        external.passListener();
        platformctl({"lpc", "call", "lpcExampledNoUse", "wpDispBtn", "Blink nonsense"});
        expectError(external, "] wpIsSuccess=1 \x1b[0m \n");
        EXPECT_EQ(external.line().takeOutputWith("\r\n"), "Command FAILED: (Blink nonsense)\r\n");
        platformctl({"event", "publish", "uartProjectorEvent", "PWR ON"});
        external.line().takeOutputWith("PWR ON");
        internal.line().takeOutputWith("PWR ON");
    });
}

// A payload that another program sends may hold zero bytes; as a text it ends at the first.
TEST(Payload, endsAtAZeroByte)
{
    onADevice([](TestDevice& device) {
        device.put(local::Store::settings, "system.broadcast", "false");
        device.put(local::Store::status, "system.slaveMcu.isReady", "true");
        Instance external(device, InstanceRole::external);
        using namespace std::string_view_literals;
        const auto publish = [](const std::string& topic, std::string_view bytes) {
            ASSERT_EQ(local::publishBytes(topic, bytes), 0);
        };
        publish("uartProjectorEvent", "PWR\0ON"sv);
        publish("systemUserConfigChanged", "{\"system\":{\"broadcast\":true}}\0nonsense"sv);
        publish("systemUserConfigChanged", "{\"system\":{\0\"broadcast\":false}}"sv);
        publish("uartProjectorEvent", "\0"sv);
        external.passListener();
        EXPECT_EQ(external.line().takeOutput(), "PWRBroadcast on\r\n");
        expectError(external, "json_token_parse: Invalid argument\n");
        external.line().type("Nope\r");
        external.line().takeOutputWith("Command FAILED: (Nope)\r\n");
    });
}
