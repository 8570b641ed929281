// The levels are read before main, so each case is a process of its own.
#include "platform/logger.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include "conformanceTest.h"

namespace {

class Logger : public ConformanceTest {
protected:
    // What a program prints on standard error with these levels.
    static std::vector<std::string> logged(const char* levels)
    {
        if (levels != nullptr) {
            ::setenv("LOG_LEVELS", levels, 1);
        } else {
            ::unsetenv("LOG_LEVELS");
        }
        const int kept = ::dup(STDERR_FILENO);
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        ::dup2(ends[1], STDERR_FILENO);
        ChildProcess process = peer({"log"});
        ::dup2(kept, STDERR_FILENO);
        ::close(kept);
        ::close(ends[1]);
        EXPECT_EQ(process.wait(), 0);
        std::string text;
        char chunk[4096];
        ssize_t got = 0;
        while ((got = ::read(ends[0], chunk, sizeof chunk)) > 0) {
            text.append(chunk, static_cast<std::size_t>(got));
        }
        ::close(ends[0]);
        std::vector<std::string> lines;
        for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
            lines.push_back(text.substr(0, end));
            text.erase(0, end + 1);
        }
        EXPECT_EQ(text, "") << "a message without a line end";
        return lines;
    }
};

using Lines = std::vector<std::string>;

TEST_F(Logger, ErrorsAndStoreFailuresAreOnByDefault)
{
    EXPECT_EQ(logged(nullptr), (Lines{"level 4", "again 4", "level 5", "again 5"}));
}

TEST_F(Logger, TheEnvironmentSwitchesLevels)
{
    EXPECT_EQ(logged("8"), (Lines{"level 8", "again 8"}));
    EXPECT_EQ(logged("6,4"), (Lines{"level 4", "again 4", "level 6", "again 6"}));
    EXPECT_EQ(logged(" 0 , 9,10,99999999999999999999,x"), (Lines{"level 0", "again 0", "level 9", "again 9"}));
    EXPECT_EQ(logged(""), Lines{});
}

TEST_F(Logger, LevelsCanBeSwitchedAtRunTime)
{
    __logLevels[7] = 1;
    EXPECT_EQ(__logLevels[7], 1);
    ::testing::internal::CaptureStderr();
    __printLog(7, "%s=%d", "value", 12);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "value=12\n");
}

}  // namespace
