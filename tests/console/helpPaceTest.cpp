// How the command lists are paced.
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "console/dispatcher.h"
#include "support/consoleRecord.h"
#include "support/recordingPlatform.h"

namespace {

struct Pause {
    useconds_t us;
    std::string before;  // what was replied since the last one
};
ConsoleRecord* g_console = nullptr;
std::vector<Pause>* g_pauses = nullptr;

}  // namespace

// The wrapped call; see the link options.
extern "C" int __real_usleep(useconds_t pauseUs);
extern "C" int __wrap_usleep(useconds_t pauseUs)
{
    if (g_pauses == nullptr) {
        return __real_usleep(pauseUs);
    }
    g_pauses->push_back({pauseUs, g_console->takeReplies()});
    return 0;
}

namespace {

class HelpPace : public testing::Test {
protected:
    HelpPace()
    {
        recording::reset();
        g_console = &console_;
        g_pauses = &pauses_;
    }
    ~HelpPace() override
    {
        g_console = nullptr;
        g_pauses = nullptr;
    }

    ConsoleRecord console_;
    std::vector<Pause> pauses_;
};

TEST_F(HelpPace, pausesBehindEachLineOfTheUserList)
{
    UserCommandHandler(0, "help", 4);
    ASSERT_EQ(pauses_.size(), 23U);
    for (const Pause& pause : pauses_) {
        EXPECT_EQ(pause.us, 30U);
        EXPECT_EQ(pause.before.find("\r\n"), pause.before.size() - 2) << pause.before;
    }
    EXPECT_EQ(pauses_.front().before, "Blink\r\n");
    EXPECT_EQ(pauses_.back().before, "x1AVx2\r\n");
    EXPECT_EQ(console_.takeReplies(), "");
}

TEST_F(HelpPace, pausesNowhereElse)
{
    for (const char* line : {"techelp", "help Lock", "techelp Lock", "help nonsense", "help RFabVID"}) {
        UserCommandHandler(0, line, static_cast<int>(std::string(line).size()));
        EXPECT_TRUE(pauses_.empty()) << line;
    }
}

}  // namespace
