// What the dispatcher asks for and prints besides its replies, which the transcripts show.
#include <gtest/gtest.h>

#include "console/dispatcher.h"
#include "support/consoleRecord.h"
#include "support/outputFile.h"
#include "support/recordingPlatform.h"

namespace {

class Dispatcher : public testing::Test {
protected:
    Dispatcher() { recording::reset(); }

    int dispatch(const std::string& line)
    {
        const CapturedOutput captured(output_);
        return UserCommandHandler(0, line.c_str(), static_cast<int>(line.size()));
    }

    ConsoleRecord console_;
    OutputFile output_;
};

TEST_F(Dispatcher, readsTheBroadcastModeOfAKnownCommandOnly)
{
    dispatch("nonsense");
    EXPECT_TRUE(recording::take().queries.empty());
    dispatch("RS232zone help");
    const recording::Record record = recording::take();
    ASSERT_EQ(record.queries.size(), 1U);
    EXPECT_EQ(record.queries[0].path, "system.broadcast");
}

TEST_F(Dispatcher, goesOnWhenTheBroadcastModeCannotBeRead)
{
    recording::fail(recording::Fault::query);
    dispatch("help help");
    EXPECT_TRUE(console_.takeReplies().starts_with("Help   Help"));
}

TEST_F(Dispatcher, printsTheLineThenTheArgumentsThenTheIdentifyFlag)
{
    wpIsSuccess = 1;
    dispatch("   Blink   on");
    wpIsSuccess = 0;
    const std::string printed = output_.from(0);
    const std::size_t line = printed.find("Command=Blink   on \033[0m");
    const std::size_t arguments = printed.find("Command=on \033[0m");
    const std::size_t flag = printed.find("wpIsSuccess=1 \033[0m");
    EXPECT_NE(line, std::string::npos);
    EXPECT_LT(line, arguments);
    EXPECT_LT(arguments, flag);
    EXPECT_NE(flag, std::string::npos);
    EXPECT_NE(printed.find("\033[1;31;36m["), std::string::npos);
    EXPECT_NE(printed.find("[UserCommandHandler]["), std::string::npos);
}

TEST_F(Dispatcher, printsThatNothingMatched)
{
    dispatch("nonsense");
    EXPECT_TRUE(output_.holds("FFF FAIL", 0));
    dispatch("x");
    EXPECT_EQ(console_.takeReplies(), "Command FAILED: (nonsense)\r\nCommand FAILED: (x)\r\n");
}

TEST_F(Dispatcher, returnsTheReplyWritersResultForAnUnknownLine)
{
    EXPECT_EQ(dispatch("nonsense"), 1);
    console_.closePort();
    EXPECT_EQ(dispatch("nonsense"), 1);
}

TEST_F(Dispatcher, echoesALineThatLooksLikeAFormat)
{
    dispatch("%s%n%d");
    EXPECT_EQ(console_.takeReplies(), "Command FAILED: (%s%n%d)\r\n");
}

TEST_F(Dispatcher, echoesALineOfTheFullLineBufferWhole)
{
    const std::string line(9'999, 'q');
    dispatch(line);
    EXPECT_EQ(console_.takeReplies(), "Command FAILED: (" + line + ")\r\n");
}

}  // namespace
