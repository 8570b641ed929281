// Replies and pass-through bytes on their way to the port.
#include <cerrno>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "serial/replyWriter.h"
#include "serial/uart.h"
#include "support/consoleRecord.h"
#include "support/waiting.h"

namespace {

class ReplyWriter : public testing::Test {
protected:
    // Fills the port until it takes no more.
    void fillPort()
    {
        const std::string filling(4096, '.');
        const auto port = console_.get().uart.hold();
        while (::write(port->fd, filling.data(), filling.size()) > 0) {
        }
    }

    ConsoleRecord console_;
};

TEST_F(ReplyWriter, writesAFormattedReplyAndReturns1)
{
    EXPECT_EQ(uartReply("%s %d\r\n", "VOUT", -10), 1);
    EXPECT_EQ(uartPassThrough("%s", "as it stands"), 1);
    EXPECT_EQ(console_.takeReplies(), "VOUT -10\r\nas it stands");
}

TEST_F(ReplyWriter, keepsRepliesOfTheLongestLineWhole)
{
    for (const std::size_t length : {4'095U, 4'096U, 9'999U}) {
        const std::string line(length, 'x');
        uartReply("Command FAILED: (%s)\r\n", line.c_str());
        EXPECT_EQ(console_.takeReplies(), "Command FAILED: (" + line + ")\r\n");
    }
}

TEST_F(ReplyWriter, cutsWhatIsLongerThanAnyReply)
{
    const std::string text(100'000, 'x');
    EXPECT_EQ(uartPassThrough("%s", text.c_str()), 1);
    EXPECT_EQ(console_.takeReplies(), std::string(kReplyCapacity - 1, 'x'));
}

TEST_F(ReplyWriter, writesRawBytesZeroesIncluded)
{
    EXPECT_EQ(uartWriteRaw("a\0b\xff", 4), 4);
    EXPECT_EQ(console_.takeReplies(), std::string("a\0b\xff", 4));
    EXPECT_EQ(uartWriteRaw("", 0), 0);
}

TEST_F(ReplyWriter, reportsAFailedWriteAndReturns1AllTheSame)
{
    console_.closePort();
    testing::internal::CaptureStderr();
    EXPECT_EQ(uartReply("x\r\n"), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "write: Bad file descriptor\n");
    EXPECT_EQ(uartWriteRaw("x", 1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(ReplyWriter, waitsForAFarEndThatReadsSlowly)
{
    fillPort();
    std::thread writer([] { EXPECT_EQ(uartReply("late\r\n"), 1); });
    std::string seen;
    EXPECT_TRUE(becomesTrue([&] {
        seen += console_.takeReplies();
        return seen.ends_with("late\r\n");
    }));
    writer.join();
}

// The pause is under test: a far end that reads nothing costs two seconds once, not for each reply.
TEST_F(ReplyWriter, givesAFarEndUpThatReadsNothingAndComesBackToIt)
{
    fillPort();
    testing::internal::CaptureStderr();
    EXPECT_EQ(uartReply("lost\r\n"), 1);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(uartReply("lost\r\n"), 1);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("write: "), std::string::npos);
    EXPECT_EQ(console_.takeReplies().find("lost"), std::string::npos);
    uartReply("back\r\n");
    EXPECT_EQ(console_.takeReplies(), "back\r\n");
}

// The port may be replaced while it is written to: whoever writes keeps it open until it is done.
TEST_F(ReplyWriter, writesToThePortThatItHoldsWhileItIsReplaced)
{
    fillPort();
    std::thread writer([] { uartReply("held\r\n"); });
    const std::weak_ptr<UartPort> old = console_.get().uart.hold();
    console_.closePort();
    std::string seen;
    EXPECT_TRUE(becomesTrue([&] {
        seen += console_.takeReplies();
        return old.expired();
    }));
    writer.join();
    seen += console_.takeReplies();
    // Either the writer had the port before it was replaced, or it found none: nothing in between.
    if (seen.find("held") != std::string::npos) {
        EXPECT_TRUE(seen.ends_with("held\r\n"));
    }
}

}  // namespace
