// Bytes between the link and the clients of port 9001, at the full speed of a 115200 line. A burst is what comes
// between two quiet gaps of 30 ms; it is published whole up to 341 bytes, so that is how they come.
#include <algorithm>
#include <iostream>
#include <random>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "peers/instance.h"
#include "peers/seen.h"
#include "support/hexOf.h"
#include "support/waiting.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kBursts = "recvHDBTSendTo9001";
constexpr std::size_t kBurst = 341;
constexpr int kBytesASecond = 11'520;  // 115200 bit/s, ten bits a byte
constexpr std::size_t kFifo = 32;      // bytes a receiver hands over at a time
constexpr std::size_t kPieces = 85;    // hex pairs that one request takes

std::chrono::microseconds lineTime(std::size_t bytes)
{
    return std::chrono::microseconds(bytes * 1'000'000 / kBytesASecond);
}

// All byte values, the same ones in every run.
std::string randomBytes(std::size_t count, std::mt19937& random)
{
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

std::string joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts) {
        all += text;
    }
    return all;
}

// Sends bytes in pieces, each when the line would have carried it.
template <class Send>
void atLineSpeed(const std::string& bytes, std::size_t piece, Send send)
{
    auto due = Clock::now();
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        const std::string part = bytes.substr(at, piece);
        due += lineTime(part.size());
        std::this_thread::sleep_until(due);
        send(part);
    }
}

void sendRequests(const Instance& internal, const std::string& bytes)
{
    atLineSpeed(bytes, kPieces, [&](const std::string& part) {
        callMethod(internal.service(), "RS232zone900XPort", hexOf(part).substr(1).c_str());
    });
}

void begin(TestDevice& device)
{
    // With a client, lines are not commands.
    device.put(local::Store::status, "network.telnet.connect9001Count", "1");
    device.startPeers();
}

std::string firstDifference(const std::string& sent, const std::string& came)
{
    const auto at = std::mismatch(sent.begin(), sent.end(), came.begin(), came.end()).first - sent.begin();
    return std::to_string(sent.size()) + " sent, " + std::to_string(came.size()) + " came, the first difference at " +
           std::to_string(at);
}

void report(const char* what, std::size_t bytes, Clock::time_point start)
{
    const std::chrono::duration<double> took = Clock::now() - start;
    std::cout << what << ": " << bytes << " bytes in " << took.count() << " s\n";
}

// Bursts both ways at once; each ends in a gap.
void burstsBothWaysFor(std::chrono::seconds time)
{
    onADevice([time](TestDevice& device) {
        begin(device);
        Instance internal(device, InstanceRole::internal);
        Seen seen(device);
        std::mt19937 random{115'200};
        std::string fromLine;
        std::string toLine;
        std::string published;
        std::string written;
        const auto start = Clock::now();
        while (Clock::now() - start < time) {
            const std::string in = randomBytes(kBurst, random);
            const std::string out = randomBytes(kBurst, random);
            fromLine += hexOf(in);
            toLine += out;
            std::string failure;
            std::thread requests([&] {
                try {
                    sendRequests(internal, out);
                } catch (const std::exception& error) {
                    failure = error.what();
                }
            });
            atLineSpeed(in, kFifo, [&](const std::string& part) { internal.line().type(part); });
            requests.join();
            if (!failure.empty()) {
                throw std::runtime_error(failure);
            }
            waitFor("a burst both ways", [&] {
                internal.expectRunning();
                published = joined(seen.payloads(kBursts));
                written += internal.line().takeOutput();
                return published.size() >= fromLine.size() && written.size() >= toLine.size();
            });
        }
        report("from the line", fromLine.size() / 3, start);
        report("to the line", toLine.size(), start);
        internal.passListener();
        published = joined(seen.payloads(kBursts));
        written += internal.line().takeOutput();
        EXPECT_TRUE(published == fromLine) << firstDifference(fromLine, published);
        EXPECT_TRUE(written == toLine) << firstDifference(toLine, written);
    });
}

// Towards the line there are no bursts: the speed is kept up without a pause.
void streamToTheLineFor(std::chrono::seconds time)
{
    onADeviceThatIsRead([time](TestDevice& device) {
        begin(device);
        Instance internal(device, InstanceRole::internal);
        std::mt19937 random{11'520};
        const std::string sent = randomBytes(static_cast<std::size_t>(time.count() * kBytesASecond), random);
        std::string written;
        std::string failure;
        const auto start = Clock::now();
        std::thread requests([&] {
            try {
                sendRequests(internal, sent);
            } catch (const std::exception& error) {
                failure = error.what();
            }
        });
        const bool came = becomesTrue(
            [&] {
                internal.expectRunning();
                written += internal.line().takeOutput();
                return written.size() >= sent.size();
            },
            time + kPatience);
        requests.join();
        report("to the line", sent.size(), start);
        internal.passListener();
        written += internal.line().takeOutput();
        if (internal.hasGivenUp()) {
            return false;
        }
        EXPECT_EQ(failure, "");
        EXPECT_TRUE(came);
        EXPECT_TRUE(written == sent) << firstDifference(sent, written);
        return true;
    });
}

}  // namespace

TEST(PassThrough, inBurstsBothWaysForAMoment)
{
    burstsBothWaysFor(std::chrono::seconds(5));
}

TEST(PassThrough, inBurstsBothWaysForAMinute)
{
    burstsBothWaysFor(std::chrono::minutes(1));
}

TEST(PassThrough, inAStreamToTheLineForAMoment)
{
    streamToTheLineFor(std::chrono::seconds(5));
}

TEST(PassThrough, inAStreamToTheLineForAMinute)
{
    streamToTheLineFor(std::chrono::minutes(1));
}
