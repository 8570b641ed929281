// Starting the daemon: arguments, names, up-time, line settings, and what may be missing.
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>

#include <termios.h>

#include "endToEnd/daemonTest.h"

namespace {

constexpr int kStatusMinus1 = 255;

class StartUp : public DaemonTest {
protected:
    // Runs it to its end, which these arguments or names bring about.
    int exitStatus(const std::string& name, const std::vector<std::string>& arguments)
    {
        return device_.startDaemon(name, arguments, output_)->wait();
    }

    std::optional<std::string> upTime()
    {
        return aside([] { return TestDevice::read(local::Store::settings, "system.upOnTime"); });
    }

    OutputFile output_;
};

TEST_F(StartUp, endsWithoutExactlyOneArgument)
{
    EXPECT_EQ(exitStatus(kExternal, {}), kStatusMinus1);
    EXPECT_EQ(output_.from(0), "parameter number error!!!\r\n");
    const std::size_t before = output_.size();
    EXPECT_EQ(exitStatus(kInternal, {"/dev/ttyS6", "more"}), kStatusMinus1);
    EXPECT_EQ(output_.from(before), "parameter number error!!!\r\n");
    EXPECT_EQ(upTime(), std::nullopt);
}

// A supervisor that ignores SIGCHLD hands that on; commands that are run would then leave no status.
TEST_F(StartUp, learnsHowCommandsEndWhoeverStartedIt)
{
    device_.putFactoryData("SerialNumber", "RX24A00123");
    std::signal(SIGCHLD, SIG_IGN);
    Console console(device_, kExternal);
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(console.answer("SFabSN RX24A00124\r", "\n"), "SFabSN RX24A00123\r\n");
}

TEST_F(StartUp, endsUnderAnyOtherName)
{
    PseudoTerminal line;
    for (const char* name : {"otherComd", "externalComd2", "xexternalComd", "internal"}) {
        const std::size_t before = output_.size();
        EXPECT_EQ(exitStatus(name, {line.device()}), kStatusMinus1);
        EXPECT_TRUE(output_.holds("[main]consoleParamA.sourceType=0\n", before)) << name;
        EXPECT_TRUE(output_.holds("lpc_service_create error: ", before)) << name;
        EXPECT_FALSE(output_.holds("[main]lpc_service_create|", before)) << name;
    }
}

TEST_F(StartUp, takesItsRoleFromItsNameInAnyCase)
{
    Console external(device_, "EXTERNALCOMD");
    EXPECT_TRUE(external.log().holds("[main]consoleParamA.sourceType=2\n", 0));
    EXPECT_TRUE(external.log().holds("[main]lpc_service_create|lpcExampledNoUse\r\n", 0));
    Console internal(device_, kInternal);
    EXPECT_TRUE(internal.log().holds("[main]consoleParamA.sourceType=5\n", 0));
    EXPECT_TRUE(internal.log().holds("[main]lpc_service_create|lpcExampledNoUse2\r\n", 0));
}

TEST_F(StartUp, servesTheMethodsOfItsRoleAndNoOther)
{
    Console external(device_, kExternal);
    Console internal(device_, kInternal);
    EXPECT_EQ(callMethod(kExternalService, "wpDispBtn", "RS232zone"), 0);
    EXPECT_NE(callMethod(kExternalService, "RS232zone", "x"), 0);
    EXPECT_NE(callMethod(kExternalService, "HDBTRS232Set", std::nullopt), 0);
    EXPECT_NE(callMethod(kExternalService, "RS232zone900XPort", "41"), 0);
    EXPECT_EQ(callMethod(kInternalService, "RS232zone900XPort", "48 49 0D"), 0);
    EXPECT_EQ(internal.line().takeOutputWith("\r"), "HI\r");
    EXPECT_NE(callMethod(kInternalService, "wpDispBtn", "RS232zone"), 0);
    EXPECT_EQ(external.line().takeOutput(), "");
}

TEST_F(StartUp, endsWhenItsServiceIsThereAlready)
{
    Console first(device_, kExternal);
    PseudoTerminal line;
    EXPECT_EQ(exitStatus(kExternal, {line.device()}), kStatusMinus1);
    EXPECT_TRUE(output_.holds("lpc_service_create error: File exists\n", 0));
    EXPECT_EQ(first.answer("nonsense\r", "\n"), "Command FAILED: (nonsense)\r\n");
}

TEST_F(StartUp, endsWithoutABus)
{
    PseudoTerminal line;
    device_.stopBus();
    EXPECT_EQ(exitStatus(kExternal, {line.device()}), kStatusMinus1);
    EXPECT_TRUE(output_.holds("lpc_service_create error: ", 0));
}

TEST_F(StartUp, goesOnWithoutItsStores)
{
    const std::string stores = device_.directory();
    std::filesystem::create_directories(std::filesystem::path(stores).parent_path());
    std::ofstream(stores).put('x');  // a file where the directory should be
    Console console(device_, kExternal);
    EXPECT_TRUE(console.log().holds("user_config_update: ", 0));
    EXPECT_EQ(console.answer("nonsense\r", "\n"), "Command FAILED: (nonsense)\r\n");
    EXPECT_EQ(console.answer("Blink sta\rhelp Lock\r", "\n"), "Lock    Locks the front panel of the matrix.\r\n");
}

TEST_F(StartUp, goesOnWithoutItsSerialDevice)
{
    const auto process = device_.startDaemon(kExternal, {"/nonexistent/tty"}, output_);
    EXPECT_TRUE(becomesTrue([] { return callMethod(kExternalService, "wpDispBtn", "nonsense") == 0; }));
    EXPECT_TRUE(output_.holds("[uart_open2] open uart dev /nonexistent/tty failed!\r\n", 0));
    EXPECT_TRUE(output_.holds("write: Bad file descriptor\n", 0));
    EXPECT_TRUE(process->running());
}

// Up-time

TEST_F(StartUp, storesTheDayAndTheTime)
{
    Console console(device_, kExternal);
    const std::string stored = upTime().value_or("nothing");
    EXPECT_TRUE(std::regex_match(stored, std::regex(R"("\d\d \d\d:\d\d:\d\d")"))) << stored;
    EXPECT_TRUE(console.log().holds("strlen(path)=12\r\n", 0));
}

TEST_F(StartUp, asksDateForTheDayAndTheTime)
{
    device_.standIns().addProgram("date", "[ $# -eq 1 ] && [ \"$1\" = '+%d %T' ] && echo '15 11:24:43'\n");
    Console console(device_, kExternal);
    EXPECT_EQ(upTime(), R"("15 11:24:43")");
    EXPECT_TRUE(console.log().holds("getUpOnTime=15 11:24:43\n, strlen(path)=12\r\n", 0));
}

TEST_F(StartUp, storesAnEmptyUpTimeForAnyOtherLength)
{
    for (const char* script :
         {"echo '15 11:24:4'\n", "echo '15 11:24:431'\n", "printf '15 11:24:43'\n", "exit 1\n", "echo\n",
          "echo '15 11:24:43'; echo x\n", "yes 0123456789 | tr -d '\\n' | head -c 100000\n"}) {
        device_.standIns().addProgram("date", script);
        aside([&] { return local::unset(local::Store::settings, "system.upOnTime"); });
        Console console(device_, kExternal);
        EXPECT_EQ(upTime(), R"("")") << script;
    }
}

TEST_F(StartUp, takesTheLastLineOfTheDate)
{
    device_.standIns().addProgram("date", "echo x; echo a longer line than that; echo '15 11:24:43'\n");
    Console console(device_, kExternal);
    EXPECT_EQ(upTime(), R"("15 11:24:43")");
}

// Line settings

termios settingsOf(const PseudoTerminal& line)
{
    termios taken{};
    EXPECT_EQ(tcgetattr(line.deviceFd(), &taken), 0);
    return taken;
}

TEST_F(StartUp, opensTheConsoleWithItsStoredSettings)
{
    aside([&] {
        device_.put(local::Store::settings, "system.uart.interface1",
                    R"({"baudrate":19200,"databit":8,"parity":0,"stopbit":2})");
        return 0;
    });
    Console console(device_, kExternal);
    const termios taken = settingsOf(console.line());
    EXPECT_EQ(cfgetospeed(&taken), static_cast<speed_t>(B19200));
    EXPECT_NE(taken.c_cflag & CSTOPB, 0U);
    EXPECT_TRUE(console.log().holds("pConsoleParameterA->serialdev=" + console.line().device(), 0));
    for (const char* field : {"baudrate=19200", "datalen=8", "parity=0", "stop=2"}) {
        EXPECT_TRUE(console.log().holds(std::string("pConsoleParameterA->") + field, 0)) << field;
    }
}

TEST_F(StartUp, opensTheConsoleAt9600WhenNothingIsStored)
{
    Console console(device_, kExternal);
    const termios taken = settingsOf(console.line());
    EXPECT_EQ(cfgetospeed(&taken), static_cast<speed_t>(B9600));
    EXPECT_EQ(taken.c_cflag & CSTOPB, 0U);
    for (const char* field : {"baudrate=99", "datalen=99", "parity=99", "stop=99"}) {
        EXPECT_TRUE(console.log().holds(std::string("pConsoleParameterA->") + field, 0)) << field;
    }
}

TEST_F(StartUp, opensTheLinkAt115200WhateverIsStored)
{
    aside([&] {
        device_.put(local::Store::settings, "system.uart.interface1.baudrate", "19200");
        device_.put(local::Store::settings, "system.uart.interface3.baudrate", "19200");
        return 0;
    });
    Console console(device_, kInternal);
    const termios taken = settingsOf(console.line());
    EXPECT_EQ(cfgetospeed(&taken), static_cast<speed_t>(B115200));
    EXPECT_TRUE(console.log().holds("pConsoleParameterA->hdbt_baudrate=115200", 0));
}

}  // namespace
