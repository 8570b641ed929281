// Replies and pass-through bytes on their way to the port.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>

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

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

// The time of the threads that write. It passes as a test has it pass, so that no writer loses its patience because the
// machine, or the far end's thread, stands still.
class WritersTime {
public:
    // This thread writes, for the object's lifetime.
    class Thread {
    public:
        Thread() { writes_ = true; }
        ~Thread() { writes_ = false; }
        Thread(const Thread&) = delete;
        Thread& operator=(const Thread&) = delete;
    };

    static bool isOfThisThread() { return writes_; }
    static steady_clock::time_point now() { return steady_clock::time_point(nanoseconds(nowNs_)); }
    static steady_clock::time_point look()
    {
        if (const auto meanwhile = std::exchange(beforeNextLook_, nullptr)) {
            meanwhile();
        }
        nowNs_ += perLookNs_;
        ++looks_;
        return now();
    }

    static void pass(nanoseconds time) { nowNs_ += time.count(); }
    // How much passes from one look of a writer to the next.
    static void passPerLook(nanoseconds time) { perLookNs_ = time.count(); }
    // What happens while this thread, that of a writer, stands still before it looks the next time.
    static void beforeNextLook(std::function<void()> meanwhile) { beforeNextLook_ = std::move(meanwhile); }
    // A writer looks when it begins to wait and after each wait.
    static int looks() { return looks_; }

private:
    static constexpr std::int64_t kStart = 1'000'000'000;

    static inline thread_local bool writes_ = false;
    static inline thread_local std::function<void()> beforeNextLook_;
    static inline std::atomic<std::int64_t> nowNs_{kStart};
    static inline std::atomic<std::int64_t> perLookNs_{0};
    static inline std::atomic<int> looks_{0};
};

}  // namespace

// The wrapped call; see the link options.
steady_clock::time_point realSteadyNow() asm("__real__ZNSt6chrono3_V212steady_clock3nowEv");
steady_clock::time_point wrappedSteadyNow() asm("__wrap__ZNSt6chrono3_V212steady_clock3nowEv");

steady_clock::time_point wrappedSteadyNow()
{
    return WritersTime::isOfThisThread() ? WritersTime::look() : realSteadyNow();
}

namespace {

class ReplyWriter : public testing::Test {
protected:
    ~ReplyWriter() override { WritersTime::passPerLook({}); }

    template <class Work>
    static std::thread startWriter(Work work)
    {
        return std::thread([work] {
            const WritersTime::Thread writes;
            work();
        });
    }

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
    std::thread writer = startWriter([] { EXPECT_EQ(uartReply("late\r\n"), 1); });
    std::string seen;
    EXPECT_TRUE(becomesTrue([&] {
        seen += console_.takeReplies();
        return seen.ends_with("late\r\n");
    }));
    writer.join();
}

// A driver with a full buffer calls itself writable only once it is nearly empty; this far end never gets there.
TEST_F(ReplyWriter, keepsOnWithALineThatTakesALittleNowAndThen)
{
    fillPort();
    pollfd port{console_.get().uart.hold()->fd, POLLOUT, 0};
    const int looksBefore = WritersTime::looks();
    std::thread writer = startWriter([] { EXPECT_EQ(uartReply("late\r\n"), 1); });
    EXPECT_TRUE(becomesTrue([&] { return WritersTime::looks() > looksBefore; }));
    char little[4096];
    EXPECT_GT(::read(console_.farEnd(), little, sizeof little), 0);
    EXPECT_EQ(::poll(&port, 1, 0), 0);
    writer.join();
    EXPECT_TRUE(console_.takeReplies().ends_with("late\r\n"));
}

// The bytes take longer than a text without progress may.
TEST_F(ReplyWriter, takesTheTimeThatASlowLineTakes)
{
    PseudoTerminal line;
    console_.get().uart.replace(uart_open2(line.device().c_str(), 9600, 8, 1, 0, kFlowNone));
    fillPort();
    const std::string bytes(60'000, 'a');
    const auto begun = WritersTime::now();
    std::atomic<bool> written = false;
    std::thread writer = startWriter([&] {
        EXPECT_EQ(uartWriteRaw(bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        written = true;
    });
    std::string seen;
    char little[1'000];
    while (!written) {
        const ssize_t length = ::read(line.fd(), little, sizeof little);
        seen.append(little, length > 0 ? static_cast<std::size_t>(length) : 0);
        // At its second look from here on the writer has made use of the room.
        const int looks = WritersTime::looks();
        waitFor("the writer", [&] { return written || WritersTime::looks() >= looks + 2; });
        WritersTime::pass(milliseconds(100));
    }
    writer.join();
    EXPECT_GT(WritersTime::now() - begun, std::chrono::seconds(4));
    seen += line.takeOutput();
    EXPECT_EQ(seen.substr(seen.find_first_not_of('.')), bytes);
}

// A process that is stopped for a while and then goes on.
TEST_F(ReplyWriter, triesOnceMoreWhenItsTimeIsOver)
{
    fillPort();
    std::string seen;
    const auto stopped = [&] {
        WritersTime::pass(std::chrono::seconds(3));
        seen += console_.takeReplies();
    };
    {
        const WritersTime::Thread writes;
        // Before it waits, and once it has waited.
        WritersTime::beforeNextLook([&] {
            stopped();
            fillPort();
            WritersTime::beforeNextLook(stopped);
        });
        EXPECT_EQ(uartReply("late\r\n"), 1);
    }
    seen += console_.takeReplies();
    EXPECT_TRUE(seen.ends_with("late\r\n"));
}

// The loop and the listener may write at the same time; each text goes in several pieces when there is little room.
TEST_F(ReplyWriter, keepsTextsOfTwoThreadsApart)
{
    PseudoTerminal line;
    console_.get().uart.replace(uart_open2(line.device().c_str(), 9600, 8, 1, 0, kFlowNone));
    fillPort();
    const std::string one(9'000, 'a');
    const std::string other(9'000, 'b');
    std::thread writerOfOne = startWriter([&] { EXPECT_EQ(uartReply("%s", one.c_str()), 1); });
    std::thread writerOfOther = startWriter([&] { EXPECT_EQ(uartReply("%s", other.c_str()), 1); });
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

// A far end that reads nothing costs two seconds once, not for each reply.
TEST_F(ReplyWriter, givesAFarEndUpThatReadsNothingAndComesBackToIt)
{
    fillPort();
    testing::internal::CaptureStderr();
    {
        const WritersTime::Thread writes;
        WritersTime::passPerLook(milliseconds(100));
        const auto start = WritersTime::now();
        EXPECT_EQ(uartReply("lost\r\n"), 1);
        const auto givenUp = WritersTime::now();
        EXPECT_GE(givenUp - start, std::chrono::seconds(2));
        EXPECT_LE(givenUp - start, milliseconds(2'300));
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(uartReply("lost\r\n"), 1);
        }
        EXPECT_EQ(WritersTime::now(), givenUp);
        WritersTime::passPerLook({});
    }
    EXPECT_NE(testing::internal::GetCapturedStderr().find("write: "), std::string::npos);
    EXPECT_EQ(console_.takeReplies().find("lost"), std::string::npos);
    uartReply("back\r\n");
    EXPECT_EQ(console_.takeReplies(), "back\r\n");
    // It is waited for again.
    fillPort();
    const int looks = WritersTime::looks();
    std::thread writer = startWriter([] { EXPECT_EQ(uartReply("late\r\n"), 1); });
    EXPECT_TRUE(becomesTrue([&] { return WritersTime::looks() > looks + 1; }));
    std::string seen = console_.takeReplies();
    writer.join();
    seen += console_.takeReplies();
    EXPECT_TRUE(seen.ends_with("late\r\n"));
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
    std::thread writer = startWriter([] { uartReply("held\r\n"); });
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
