// Bytes into lines and bursts, and where the lines go.
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "serial/lineIntake.h"
#include "support/consoleRecord.h"
#include "support/recordingPlatform.h"

namespace {

struct Dispatched {
    std::string line;
    int length;
};
std::vector<Dispatched> g_dispatched;

int noteLine(int unused, const char* line, int length)
{
    EXPECT_EQ(unused, 0);
    g_dispatched.push_back({line, length});
    return 1;
}

class Intake : public testing::Test {
protected:
    explicit Intake(int sourceType = kExternalConsole) : console_(sourceType), router_{console_.get(), noteLine, {}}
    {
        recording::reset();
        g_dispatched.clear();
        g_connect9001Count = 0;
    }

    // As the loop does it: chunk by chunk, each byte with its place in the chunk.
    void feed(const std::string& bytes, std::size_t chunk = kReadChunk)
    {
        const RecordLock lock(router_.record.mutex);
        for (std::size_t at = 0; at < bytes.size(); at += chunk) {
            const std::string piece = bytes.substr(at, chunk);
            for (std::size_t i = 0; i < piece.size(); ++i) {
                assembleByte(*intake_, router_, piece[i], i);
            }
            intake_->extendBurst(piece.size());
        }
    }

    static std::vector<std::string> lines()
    {
        std::vector<std::string> texts;
        for (const Dispatched& dispatched : std::exchange(g_dispatched, {})) {
            EXPECT_EQ(dispatched.length, static_cast<int>(dispatched.line.size()));
            texts.push_back(dispatched.line);
        }
        return texts;
    }

    // Heap memory, so that a sanitizer sees the first byte beyond it.
    std::unique_ptr<LineIntake> intake_ = std::make_unique<LineIntake>();
    ConsoleRecord console_;
    LineRouter router_;
};

class InternalIntake : public Intake {
protected:
    InternalIntake() : Intake(kInternalHdbtLink) {}

    static std::string handshake()
    {
        std::string text;
        for (const recording::Call& call : recording::take().calls) {
            EXPECT_EQ(call.service, "wpcmdd");
            EXPECT_EQ(call.method, "receiveWpCmdd");
            EXPECT_EQ(call.params.value_or("").size(), 1U);
            text += call.params.value_or("?");
        }
        return text;
    }
};

using Strings = std::vector<std::string>;

// Lines

TEST_F(Intake, endsLinesAtCarriageReturnAndLineFeed)
{
    feed("one\rtwo\nthree\r\nfour\n\rfive");
    EXPECT_EQ(lines(), (Strings{"one", "two", "three", "four"}));
    feed("!\r");
    EXPECT_EQ(lines(), (Strings{"five!"}));
}

TEST_F(Intake, ignoresEmptyLines)
{
    feed("\r\n\n\r\r\r\n\n");
    EXPECT_EQ(lines(), Strings{});
}

TEST_F(Intake, keepsLinesUpToItsBoundAndDropsWhatIsMore)
{
    for (const std::size_t length : {1U, 63U, 64U, 65U, 9'998U, 9'999U, 10'000U, 10'001U, 100'000U}) {
        feed(std::string(length, 'x') + "\rnext\r");
        const std::size_t kept = std::min<std::size_t>(length, kLineCapacity - 1);
        EXPECT_EQ(lines(), (Strings{std::string(kept, 'x'), "next"})) << length;
    }
}

TEST_F(Intake, passesEveryByteButTheTerminators)
{
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '\r' && byte != '\n') {
            bytes += static_cast<char>(byte);
        }
    }
    feed(bytes + "\r");
    EXPECT_EQ(lines(), Strings{bytes});
}

TEST_F(Intake, endsALinesTextAtAZeroByteAndTheLineAtItsTerminator)
{
    feed(std::string("one\0two\r", 8));
    EXPECT_EQ(lines(), Strings{"one"});
    feed("three\r");
    EXPECT_EQ(lines(), Strings{"three"});
}

// A line whose text is empty is no empty line: it goes to the dispatcher, which refuses it.
TEST_F(Intake, passesALineThatBeginsWithAZeroByteAsAnEmptyText)
{
    feed(std::string("\0two\r", 5));
    EXPECT_EQ(lines(), Strings{""});
}

TEST_F(Intake, assemblesTheSameLinesWhateverTheChunks)
{
    std::mt19937 random(20'240'501);
    std::string bytes;
    Strings expected;
    for (int i = 0; i < 200; ++i) {
        std::string line(1 + random() % 300, 'a');
        for (char& character : line) {
            character = static_cast<char>('a' + random() % 26);
        }
        bytes += line + (random() % 2 == 0 ? "\r" : "\r\n");
        expected.push_back(line);
    }
    for (const std::size_t chunk : {1U, 2U, 7U, 63U, 64U}) {
        feed(bytes, chunk);
        EXPECT_EQ(lines(), expected) << chunk;
    }
}

TEST_F(Intake, survivesAFloodOfAnyBytes)
{
    std::mt19937 random(7);
    std::string bytes(1'000'000, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    feed(bytes);
    feed("\rafter\r");
    ASSERT_FALSE(g_dispatched.empty());
    if (!router_.zone.pending()) {
        EXPECT_EQ(g_dispatched.back().line, "after");
    }
}

// Bursts

TEST_F(Intake, keepsEveryByteOfABurstInPlace)
{
    feed("one\r", 64);
    feed("two\r\n", 64);
    EXPECT_STREQ(intake_->strcmd900XPort, "one\rtwo\r\n");
    EXPECT_EQ(intake_->burstLength, 9U);
    intake_->clearBurst();
    EXPECT_STREQ(intake_->strcmd900XPort, "");
    feed("x");
    EXPECT_STREQ(intake_->strcmd900XPort, "x");
    EXPECT_EQ(intake_->burstLength, 1U);
}

TEST_F(Intake, boundsABurst)
{
    feed(std::string(1'023, 'a') + "bc" + std::string(5'000, 'd') + "\r");
    EXPECT_EQ(intake_->burstLength, kBurstCapacity);
    EXPECT_EQ(std::string(intake_->strcmd900XPort), std::string(1'023, 'a') + "b");
}

TEST_F(Intake, setsTheBurstFlagsAtLineEndsOnly)
{
    feed("WP_x]$");
    EXPECT_EQ(intake_->checkWpString_S, 0);
    EXPECT_EQ(intake_->checkWpString_E, 0);
    feed("\r");
    EXPECT_EQ(intake_->checkWpString_S, 1);
    EXPECT_EQ(intake_->checkWpString_E, 1);
    EXPECT_EQ(intake_->checkWpString_Fail, 0);
    intake_->clearBurst();
    feed("COMMAND FAIL");
    EXPECT_EQ(intake_->checkWpString_Fail, 0);
    feed("\n");
    EXPECT_EQ(intake_->checkWpString_Fail, 1);
    intake_->clearBurstFlags();
    EXPECT_EQ(intake_->checkWpString_S + intake_->checkWpString_E + intake_->checkWpString_Fail, 0);
}

TEST_F(Intake, setsNoFlagForHalfAHandshake)
{
    feed("WP_x\r");
    EXPECT_EQ(intake_->checkWpString_S, 0);
    EXPECT_EQ(intake_->checkWpString_E, 0);
    feed("]$\r");  // the burst now holds both halves
    EXPECT_EQ(intake_->checkWpString_S, 1);
    EXPECT_EQ(intake_->checkWpString_E, 1);
}

TEST(BurstCheck, tellsAHandshakeAndItsFailure)
{
    EXPECT_EQ(for900XPortCheckWpCmdd("WP_[abc]$"), 4);
    EXPECT_EQ(for900XPortCheckWpCmdd("]$ before WP_"), 4);
    EXPECT_EQ(for900XPortCheckWpCmdd("]$\r"), 4);
    EXPECT_EQ(for900XPortCheckWpCmdd("]$\rmore"), 4);
    EXPECT_EQ(for900XPortCheckWpCmdd("]$\n"), 0);
    EXPECT_EQ(for900XPortCheckWpCmdd("x]$\r"), 0);
    EXPECT_EQ(for900XPortCheckWpCmdd("WP_"), 0);
    EXPECT_EQ(for900XPortCheckWpCmdd("a COMMAND FAIL b"), 3);
    EXPECT_EQ(for900XPortCheckWpCmdd("WP_ COMMAND FAIL ]$"), 4);
    EXPECT_EQ(for900XPortCheckWpCmdd("COMMAND FAI"), 0);
    EXPECT_EQ(for900XPortCheckWpCmdd("wp_]$"), 0);
    EXPECT_EQ(for900XPortCheckWpCmdd(""), 0);
}

TEST(HandshakeLine, beginsWithOneOfThreeTexts)
{
    EXPECT_EQ(isWpCmdd("WP_"), 1);
    EXPECT_EQ(isWpCmdd("WP_abc"), 1);
    EXPECT_EQ(isWpCmdd("]$"), 1);
    EXPECT_EQ(isWpCmdd("]$abc"), 1);
    EXPECT_EQ(isWpCmdd("COMMAND FAIL"), 1);
    EXPECT_EQ(isWpCmdd("COMMAND FAILED"), 1);
    EXPECT_EQ(isWpCmdd("COMMAND FAI"), 0);
    EXPECT_EQ(isWpCmdd("WP"), 0);
    EXPECT_EQ(isWpCmdd("]"), 0);
    EXPECT_EQ(isWpCmdd(" WP_"), 0);
    EXPECT_EQ(isWpCmdd(""), 0);
}

// Where lines go

TEST_F(InternalIntake, sendsAHandshakeLineCharacterByCharacterWithACarriageReturn)
{
    feed("WP_[12]$\n");
    EXPECT_EQ(handshake(), "WP_[12]$\r");
    feed("]$\r");
    EXPECT_EQ(handshake(), "]$\r");
    feed("COMMAND FAILED\r");
    EXPECT_EQ(handshake(), "COMMAND FAILED\r");
    EXPECT_EQ(lines(), Strings{});
}

TEST_F(InternalIntake, sendsAllOfAHandshakeLineThoughCallsFail)
{
    recording::setPeer("wpcmdd", "receiveWpCmdd", {recording::PeerAnswer::Kind::fails});
    testing::internal::CaptureStderr();
    feed("WP_\r");
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(handshake(), "WP_\r");
    std::size_t characters = 0;
    for (std::size_t at = 0; (at = printed.find("lpc_proxy_call, receiveWpCmdd: ", at)) != std::string::npos; ++at) {
        ++characters;
    }
    EXPECT_EQ(characters, 3U);
    EXPECT_NE(printed.find("lpc_proxy_call receiveWpCmdd: "), std::string::npos);
}

TEST_F(InternalIntake, dispatchesOtherLinesWhileNobodyIsOnPort9001)
{
    feed("Blink on\r");
    EXPECT_EQ(lines(), Strings{"Blink on"});
    g_connect9001Count = 1;
    feed("Blink on\rRS232zone[x]\rWP_a\r");
    EXPECT_EQ(lines(), Strings{});
    EXPECT_EQ(handshake(), "WP_a\r");
    EXPECT_FALSE(router_.zone.pending());
    g_connect9001Count = 0;
    feed("Blink off\r");
    EXPECT_EQ(lines(), Strings{"Blink off"});
}

TEST_F(InternalIntake, takesAHandshakeLineThoughATextIsPending)
{
    feed("RS232zone[x]\rWP_a\r");
    EXPECT_EQ(handshake(), "WP_a\r");
    EXPECT_TRUE(router_.zone.pending());
}

TEST_F(Intake, dispatchesHandshakeLinesOfTheExternalConsole)
{
    feed("WP_[12]$\r");
    EXPECT_EQ(lines(), Strings{"WP_[12]$"});
    EXPECT_TRUE(recording::take().calls.empty());
}

TEST_F(Intake, dropsLinesWithoutARole)
{
    console_.get().sourceType = kNoRole;
    feed("Blink on\rRS232zone[x]\rWP_\r");
    EXPECT_EQ(lines(), Strings{});
    EXPECT_FALSE(router_.zone.pending());
    EXPECT_TRUE(recording::take().calls.empty());
}

TEST_F(Intake, passesALineWithTheWordOfATextAndHelp)
{
    feed("x RS232zone help\rhelp RS232zone\r");
    EXPECT_EQ(lines(), (Strings{"x RS232zone help", "help RS232zone"}));
    EXPECT_FALSE(router_.zone.pending());
}

// RS232zone texts

class Zone : public Intake {
protected:
    std::string finish()
    {
        EXPECT_TRUE(router_.zone.pending());
        router_.zone.finish();
        EXPECT_FALSE(router_.zone.pending());
        return console_.takeReplies();
    }

    static Strings forwarded()
    {
        Strings texts;
        for (const recording::Call& call : recording::take().calls) {
            EXPECT_EQ(call.service + "/" + call.method, "displayControl/HexRS232zone");
            texts.push_back(call.params.value_or("none"));
        }
        return texts;
    }
};

TEST_F(Zone, keepsTheFirst255BytesOfALongText)
{
    const std::string text = "RS232zone[" + std::string(300, 'y') + "]";
    feed(text + "\r");
    EXPECT_EQ(finish(), "Command FAILED: (" + text.substr(0, 255) + ")\r\n");
    EXPECT_EQ(forwarded(), Strings{});
}

TEST_F(Zone, keepsTheFirst255BytesOfManyLines)
{
    std::string all;
    for (int i = 0; i < 100; ++i) {
        const std::string line = i == 0 ? "RS232zone[x]" : "line " + std::to_string(i);
        feed(line + "\r");
        all += line + "\r";
    }
    std::string kept = all.substr(0, 255);
    while (kept.back() == '\r') {
        kept.pop_back();
    }
    EXPECT_EQ(finish(), "Command FAILED: (" + kept + ")\r\n");
    EXPECT_EQ(lines(), Strings{});
}

TEST_F(Zone, survivesALineOfTheFullBuffer)
{
    feed("RS232zone[" + std::string(100'000, 'z') + "]\r");
    EXPECT_EQ(finish(), "Command FAILED: (RS232zone[" + std::string(245, 'z') + ")\r\n");
    feed("x" + std::string(9'000, ' ') + "RS232zone\r");
    EXPECT_EQ(finish(), "");
}

TEST_F(Zone, forwardsPayloadsUpToTheBracketBound)
{
    for (std::size_t payload = 0; payload <= 80; ++payload) {
        const std::string text = "RS232zone[" + std::string(payload, 'A') + "]";
        feed(text + "\r");
        std::string hex;
        for (std::size_t i = 0; i < payload; ++i) {
            hex += " 41";
        }
        const bool fits = payload <= 78;
        EXPECT_EQ(finish(), fits ? text + "\r\n" : "Command FAILED: (" + text + ")\r\n") << payload;
        EXPECT_EQ(forwarded(), fits ? Strings{hex} : Strings{}) << payload;
    }
}

TEST_F(Zone, forwardsAPayloadOfEveryByte)
{
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '\r' || byte == '\n') {
            continue;
        }
        const std::string text = std::string("RS232zone[") + static_cast<char>(byte) + "]";
        feed(text + "\r");
        EXPECT_EQ(finish(), text + "\r\n");
        char hex[8];
        std::snprintf(hex, sizeof hex, " %02X", byte);
        EXPECT_EQ(forwarded(), Strings{hex});
    }
}

// The replacement works on the hex text, so it also finds the two pairs where the typed bytes are others.
TEST_F(Zone, replacesEveryTypedBackslashAndR)
{
    feed("RS232zone[\\r\\r]\r");
    finish();
    EXPECT_EQ(forwarded(), Strings{" 0D 0D"});
    feed("RS232zone[\\\\rr\\]\r");
    finish();
    EXPECT_EQ(forwarded(), Strings{" 5C 0D 72 5C"});
}

TEST_F(Zone, refusesEveryOtherForm)
{
    for (const char* text : {"RS232zone", "RS232zone ", "RS232zone[", "RS232zone]", "RS232zone[x", "RS232zonex]",
                             "RS232zone [x]", "RS232zone  [x]", "RS232zone[x] ", "RS232zone[x]y", "RS232zonex[y]"}) {
        feed(std::string(text) + "\r");
        EXPECT_EQ(finish(), std::string("Command FAILED: (") + text + ")\r\n");
        EXPECT_EQ(forwarded(), Strings{}) << text;
    }
}

TEST_F(Zone, dropsATextThatOnlyLooksLikeOneWithAllThatFollowsIt)
{
    feed(" RS232zone[x]\rRS232zone[y]\rBlink on\r");
    EXPECT_EQ(finish(), "");
    EXPECT_EQ(forwarded(), Strings{});
    EXPECT_EQ(lines(), Strings{});
    feed("RS232zone[z]\r");
    EXPECT_EQ(finish(), "RS232zone[z]\r\n");
}

TEST_F(Zone, becomesAFakeWhenAPendingTextIsFollowedByNothingElse)
{
    feed("RS232zone[x]\rx RS232zone\r");
    EXPECT_EQ(finish(), "Command FAILED: (RS232zone[x]\rx RS232zone)\r\n");
}

TEST_F(Zone, saysThatATextOnlyLooksLikeOne)
{
    testing::internal::CaptureStderr();
    feed("x RS232zone\r");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("[fakeRS232zoneStringProcess]"), std::string::npos);
    finish();
}

TEST_F(Zone, echoesNothingWithoutAPort)
{
    console_.closePort();
    testing::internal::CaptureStderr();
    feed("RS232zone[x]\r");
    finish();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("write: "), std::string::npos);
    EXPECT_EQ(forwarded(), Strings{" 78"});
}

}  // namespace
