// Replies and pass-through bytes on their way to the port.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "serial/replyWriter.h"
#include "serial/uart.h"
#include "support/consoleRecord.h"
#include "support/pseudoTerminal.h"
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

// True while a thread of this process waits in the kernel; proc(5), the field after the name.
bool isAsleep(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    return text.find(") S ") != std::string::npos;
}

// A driver with a full buffer calls itself writable only once it is nearly empty; this far end never gets there.
TEST_F(ReplyWriter, keepsOnWithALineThatTakesALittleNowAndThen)
{
    fillPort();
    pollfd port{console_.get().uart.hold()->fd, POLLOUT, 0};
    std::atomic<pid_t> thread = 0;
    std::thread writer([&] {
        thread = ::gettid();
        EXPECT_EQ(uartReply("late\r\n"), 1);
    });
    EXPECT_TRUE(becomesTrue([&] { return thread != 0 && isAsleep(thread); }));
    char little[4096];
    EXPECT_GT(::read(console_.farEnd(), little, sizeof little), 0);
    EXPECT_EQ(::poll(&port, 1, 0), 0);
    writer.join();
    EXPECT_TRUE(console_.takeReplies().ends_with("late\r\n"));
}

// The pace is under test: the bytes take longer than a text without progress may.
TEST_F(ReplyWriter, takesTheTimeThatASlowLineTakes)
{
    PseudoTerminal line;
    console_.get().uart.replace(uart_open2(line.device().c_str(), 9600, 8, 1, 0, kFlowNone));
    fillPort();
    const std::string bytes(60'000, 'a');
    const auto begun = std::chrono::steady_clock::now();
    std::atomic<bool> written = false;
    std::thread writer([&] {
        EXPECT_EQ(uartWriteRaw(bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        EXPECT_GT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2));
        written = true;
    });
    std::string seen;
    char little[1'000];
    while (!written) {
        const ssize_t length = ::read(line.fd(), little, sizeof little);
        seen.append(little, length > 0 ? static_cast<std::size_t>(length) : 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    writer.join();
    seen += line.takeOutput();
    EXPECT_EQ(seen.substr(seen.find_first_not_of('.')), bytes);
}

// The loop and the listener may write at the same time; each text goes in several pieces when there is little room.
TEST_F(ReplyWriter, keepsTextsOfTwoThreadsApart)
{
    PseudoTerminal line;
    console_.get().uart.replace(uart_open2(line.device().c_str(), 9600, 8, 1, 0, kFlowNone));
    fillPort();
    const std::string one(9'000, 'a');
    const std::string other(9'000, 'b');
    std::thread writerOfOne([&] { EXPECT_EQ(uartReply("%s", one.c_str()), 1); });
    std::thread writerOfOther([&] { EXPECT_EQ(uartReply("%s", other.c_str()), 1); });
    std::string seen;
    char little[500];
    const auto count = [&](char of) { return std::count(seen.begin(), seen.end(), of); };
    EXPECT_TRUE(becomesTrue([&] {
        const ssize_t length = ::read(line.fd(), little, sizeof little);
        seen.append(little, length > 0 ? static_cast<std::size_t>(length) : 0);
        return count('a') + count('b') == 18'000;
    }));
    writerOfOne.join();
    writerOfOther.join();
    const std::string texts = seen.substr(seen.find_first_of("ab"));
    EXPECT_TRUE(texts == one + other || texts == other + one);
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
    // It is waited for again. A machine so busy that the pause takes half the patience does not count.
    waitFor("a short pause", [&] {
        fillPort();
        const auto filled = std::chrono::steady_clock::now();
        std::thread writer([] { EXPECT_EQ(uartReply("late\r\n"), 1); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the pause is under test
        std::string seen = console_.takeReplies();
        const bool inTime = std::chrono::steady_clock::now() - filled < std::chrono::seconds(1);
        writer.join();
        seen += console_.takeReplies();
        EXPECT_TRUE(!inTime || seen.ends_with("late\r\n"));
        return inTime;
    });
}

// A reader at the far end never sees half a reply where one write can take it all.
TEST_F(ReplyWriter, writesEachTextInOnePiece)
{
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
    const UniqueFd farEnd(ends[1]);
    auto port = std::make_shared<UartPort>();
    port->fd = ends[0];
    console_.get().uart.replace(std::move(port));
    const std::string line(4'000, 'x');
    uartReply("%s %s\r\n", "Command", line.c_str());
    uartPassThrough("%s", line.c_str());
    uartWriteRaw(line.data(), line.size());
    std::string piece(8'192, '\0');
    for (const std::string& text : {"Command " + line + "\r\n", line, line}) {
        const ssize_t count = ::read(farEnd.get(), piece.data(), piece.size());
        EXPECT_EQ(piece.substr(0, count > 0 ? static_cast<std::size_t>(count) : 0), text);
    }
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
