#include "platform/commandRunner.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include "conformanceTest.h"

namespace {

class CommandRunner : public ConformanceTest {
protected:
    void SetUp() override { ::unsetenv("PLATFORM_SHELL"); }

    static int openDescriptors()
    {
        const auto all = std::filesystem::directory_iterator("/proc/self/fd");
        return static_cast<int>(std::distance(begin(all), end(all)));
    }
};

TEST_F(CommandRunner, ReturnsTheExitStatus)
{
    EXPECT_EQ(lsystem("true"), 0);
    EXPECT_EQ(lsystem("exit 3"), 3);
    EXPECT_EQ(lsystem("false; true && test \"a b\" = 'a b'"), 0);
    EXPECT_EQ(lsystem("no-such-command-anywhere 2>/dev/null"), 127);
    EXPECT_EQ(lsystem(""), 0);
}

TEST_F(CommandRunner, ASignalCountsFrom128)
{
    EXPECT_EQ(lsystem("kill -KILL $$"), 128 + SIGKILL);
}

TEST_F(CommandRunner, WhatCannotBeStartedIsAFailure)
{
    ::setenv("PLATFORM_SHELL", "/no/such/shell", 1);
    errno = 0;
    EXPECT_NE(lsystem("true"), 0);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_NE(lsystem(nullptr), 0);
}

TEST_F(CommandRunner, AnotherShellGetsTheCommandWhole)
{
    std::string pattern = std::filesystem::temp_directory_path() / "shellXXXXXX";
    const std::filesystem::path directory = ::mkdtemp(pattern.data());
    const std::filesystem::path shell = directory / "shell";
    std::ofstream(shell) << "#!/bin/sh\nprintf '%s|%s|%s' \"$#\" \"$1\" \"$2\" > " << (directory / "got").string()
                         << "\nexit 5\n";
    ASSERT_EQ(::chmod(shell.c_str(), 0755), 0);
    ::setenv("PLATFORM_SHELL", shell.c_str(), 1);
    EXPECT_EQ(lsystem("reboot  \"now\"; $HOME"), 5);
    std::string got;
    std::getline(std::ifstream(directory / "got"), got);
    EXPECT_EQ(got, "2|-c|reboot  \"now\"; $HOME");
    std::filesystem::remove_all(directory);
}

TEST_F(CommandRunner, TheChildStartsWithPlainSignals)
{
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGINT, SIG_IGN);
    sigset_t all;
    sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, nullptr);
    for (const int number : {SIGPIPE, SIGINT, SIGTERM}) {
        EXPECT_EQ(lsystem(("kill -" + std::to_string(number) + " $$").c_str()), 128 + number);
    }
}

TEST_F(CommandRunner, TheChildInheritsNothingOfThePlatform)
{
    const auto inherited = [] { return lsystem("set -- /proc/$$/fd/*; exit $#"); };
    const int before = inherited();
    const int openBefore = openDescriptors();
    ASSERT_EQ(user_config_update(R"({"a":{"b":1}})"), 0);
    ASSERT_EQ(user_status_update(R"({"a":{"b":1}})"), 0);
    const Listener listener({"topic"});
    ASSERT_EQ(eventbus_publish("topic", nullptr), 0);
    ASSERT_GT(openDescriptors(), openBefore);
    EXPECT_EQ(inherited(), before);
}

}  // namespace
