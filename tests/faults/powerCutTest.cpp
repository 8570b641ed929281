// A power cut at any moment, on a disk that loses what it was not told to keep: what an update has returned 0 for is in
// the settings store, of a document all or nothing.
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "faults/sqliteFile.h"
#include "faults/unsyncedDisk.h"
#include "platform/local/local.h"
#include "platform/support/ownership.h"
#include "support/outputFile.h"
#include "support/standIns.h"

namespace {

namespace fs = std::filesystem;
using local::Store;

constexpr int kUpdates = 600;  // several checkpoints
constexpr int kCuts = 150;
constexpr int kLeaves = 30;
constexpr int kLeafLength = 300;

std::string documentText(int number)
{
    std::string text = "{\"document\":{";
    for (int i = 0; i < kLeaves; ++i) {
        text += (i > 0 ? ",\"" : "\"") + std::to_string(i) + "\":\"" + std::to_string(number) + '-' +
                std::string(kLeafLength, 'x') + '"';
    }
    return text + "}}";
}

struct Outcome {
    bool opened = false;
    bool sound = false;  // the integrity check
    int number = 0;      // of the document; 0: none, -1: half of one
};

class PowerCut : public testing::Test {
protected:
    PowerCut() { ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1); }

    // Stores documents; acknowledged_[n] is the place in the record at which number n + 1 had been stored.
    void write(Store store)
    {
        usePlace("written");
        disk_.record(true);
        std::thread([&] {
            for (int number = 1; number <= kUpdates; ++number) {
                ASSERT_EQ(local::update(store, documentText(number).c_str()), 0);
                acknowledged_.push_back(disk_.size());
            }
        }).join();  // its end closes the store
        disk_.record(false);
    }

    [[nodiscard]] int acknowledgedBefore(std::size_t cut) const
    {
        return static_cast<int>(std::upper_bound(acknowledged_.begin(), acknowledged_.end(), cut) -
                                acknowledged_.begin());
    }

    // What the next start finds.
    Outcome cut(Store store, std::size_t count)
    {
        const std::string directory = usePlace("cut");
        disk_.makeFiles(directory, count, random_);
        Outcome outcome;
        std::thread([&] {
            const JsonToken tree(local::dump(store, "document"));
            if (tree == nullptr) {
                return;
            }
            outcome.opened = true;
            const PlatformText text(json_token_to_string(tree.get()));
            outcome.number = numberIn(text.get());
        }).join();
        EXPECT_EQ(local::storeDirectory(), directory);
        const char* name = store == Store::settings ? "/settings.db" : "/status.db";
        outcome.sound = outcome.opened && isSound(directory + name);
        setAside_ += setAsideIn(directory).size();
        return outcome;
    }

    std::size_t anyPlace() { return static_cast<std::size_t>(random_() % (disk_.size() + 1)); }

    UnsyncedDisk& disk_ = UnsyncedDisk::install();
    std::uint64_t seed_ = std::random_device{}();
    UnsyncedDisk::Random random_{seed_};
    std::vector<std::size_t> acknowledged_;
    std::size_t setAside_ = 0;

private:
    std::string usePlace(const char* name)
    {
        const fs::path directory = directory_.path() / name;
        fs::remove_all(directory);
        fs::create_directories(directory);
        ::setenv("PLATFORM", ("local:" + directory.string()).c_str(), 1);
        return directory.string();
    }

    // A file that is damaged enough answers the check with an error instead of a list.
    static bool isSound(const std::string& path)
    {
        try {
            return SqliteFile(path).run("PRAGMA integrity_check") == std::vector<std::string>{"ok"};
        } catch (const std::exception&) {
            return false;
        }
    }

    static int numberIn(const std::string& text)
    {
        if (text == "{}") {
            return 0;
        }
        const std::size_t dash = text.find('-');
        const std::size_t start = text.rfind('"', dash);
        const std::string value = text.substr(start, dash - start + 1);
        int count = 0;
        for (std::size_t at = text.find(value); at != std::string::npos; at = text.find(value, at + 1)) {
            ++count;
        }
        int number = -1;
        std::from_chars(value.data() + 1, value.data() + value.size(), number);
        return count == kLeaves ? number : -1;
    }

    TemporaryDirectory directory_;
};

TEST_F(PowerCut, losesNothingOfTheSettingsThatWasAcknowledged)
{
    write(Store::settings);
    for (int i = 0; i < kCuts; ++i) {
        const std::size_t place = i == 0 ? disk_.size() : anyPlace();
        SCOPED_TRACE("seed " + std::to_string(seed_) + ", cut " + std::to_string(i) + " at " + std::to_string(place));
        const Outcome outcome = cut(Store::settings, place);
        const int acknowledged = acknowledgedBefore(place);
        ASSERT_TRUE(outcome.opened);
        ASSERT_TRUE(outcome.sound);
        ASSERT_GE(outcome.number, acknowledged);
        ASSERT_LE(outcome.number, acknowledged + 1);
    }
    EXPECT_EQ(setAside_, 0U);
}

// The status store is told to keep nothing, and makes no such promise: what this disk can do to it shows that the test
// above would see a sync that is missing.
TEST_F(PowerCut, losesStatusThatWasAcknowledged)
{
    write(Store::status);
    const OutputFile messages;  // of files set aside
    const CapturedOutput captured(messages);
    int lost = 0;
    for (int i = 0; i < kCuts / 2; ++i) {
        const std::size_t place = anyPlace();
        const Outcome outcome = cut(Store::status, place);
        lost += outcome.number < acknowledgedBefore(place) ? 1 : 0;
    }
    EXPECT_GT(lost, 0);
}

}  // namespace
