// The write-ahead log: checkpointed and grown by a thread that nobody waits for while the program runs.
#include <filesystem>
#include <fstream>
#include <thread>

#include "conformanceTest.h"
#include "platform/local/local.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kGrown = std::uintmax_t{1'024} * 1'024;
// 200 pages are checkpointed; the commit that counts the two-hundredth may write several.
constexpr std::uintmax_t kCheckpointed = 32 + 210 * (4'096 + 24);

class LocalLog : public ConformanceTest {
protected:
    static std::uintmax_t sizeOf(const char* name)
    {
        std::error_code none;
        const std::uintmax_t size = fs::file_size(local::storeDirectory() + '/' + name, none);
        return none ? 0 : size;
    }

    static void set(const StoreApi& store, int number)
    {
        ASSERT_EQ(store.update((R"({"a":{"n":)" + std::to_string(number) + "}}").c_str()), 0);
    }

    // A program that changes one setting: it waits for the work on the log when it ends.
    static void setInAThread(const StoreApi& store, int number)
    {
        std::thread([&] { set(store, number); }).join();
    }
};

TEST_F(LocalLog, IsGrownOnceAProgramChangesMoreThanOneSetting)
{
    set(kSettings, 1);
    EXPECT_LT(sizeOf("settings.db-wal"), kGrown);
    set(kSettings, 2);
    ASSERT_TRUE(eventually([] { return sizeOf("settings.db-wal") >= kGrown; }));
    EXPECT_EQ(sizeOf("settings.db-wal"), kGrown);
    for (int number = 3; number < 100; ++number) {
        set(kSettings, number);
    }
    EXPECT_EQ(sizeOf("settings.db-wal"), kGrown);
    EXPECT_EQ(kSettings.integer(R"({"a":{"n":0}})"), 99);
}

TEST_F(LocalLog, OfTheStatusIsNotGrown)
{
    set(kStatus, 1);
    set(kStatus, 2);
    set(kStatus, 3);
    set(kSettings, 1);
    setInAThread(kSettings, 2);  // whatever was begun has ended
    EXPECT_LT(sizeOf("status.db-wal"), kGrown / 2);
}

// What stands behind the zeros is read again by whoever opens the store next, and after a kill by whoever recovers it.
TEST_F(LocalLog, IsReadByOtherPrograms)
{
    set(kSettings, 1);
    set(kSettings, 2);
    ASSERT_TRUE(eventually([] { return sizeOf("settings.db-wal") >= kGrown; }));
    set(kSettings, 3);
    ChildProcess other = peer({"update", "Settings", R"({"a":{"m":4}})"});
    ASSERT_EQ(other.line(), "ready");
    other.closeInput();
    EXPECT_EQ(other.wait(), 0);
    EXPECT_EQ(kSettings.tree(R"({"a":{}})"), R"({"a":{"m":4,"n":3}})");
    // A copy is what a power cut leaves: no index.
    const std::string from = local::storeDirectory();
    engine->renewStores();
    fs::create_directories(local::storeDirectory());
    ASSERT_NE(local::storeDirectory(), from);
    fs::copy_file(from + "/settings.db", local::storeDirectory() + "/settings.db");
    fs::copy_file(from + "/settings.db-wal", local::storeDirectory() + "/settings.db-wal");
    std::thread([] { EXPECT_EQ(kSettings.tree(R"({"a":{}})"), R"({"a":{"m":4,"n":3}})"); }).join();
}

TEST_F(LocalLog, BeginsAnewAfterTwoHundredPages)
{
    for (const StoreApi* store : {&kSettings, &kStatus}) {
        set(*store, 0);  // keeps the store open, so that the log is not removed
        for (int number = 1; number <= 250; ++number) {
            setInAThread(*store, number);
        }
        EXPECT_EQ(store->integer(R"({"a":{"n":0}})"), 250);
    }
    EXPECT_EQ(sizeOf("settings.db-wal"), kGrown);
    EXPECT_LE(sizeOf("status.db-wal"), kCheckpointed);
    EXPECT_GE(sizeOf("status.db-wal"), kCheckpointed / 2);
}

// Whether the thread gets its turn between two commits is the system's affair; once it has had it, a grown log's worth
// of commits finds its room in the log.
TEST_F(LocalLog, BeginsAnewWhileAProgramWrites)
{
    constexpr int kLogful = 250;  // commits of a page each
    int number = 0;
    const auto writeALogful = [&number] {
        const std::uintmax_t before = sizeOf("settings.db-wal");
        for (const int end = number + kLogful; number < end;) {
            set(kSettings, ++number);
        }
        return before >= kGrown && sizeOf("settings.db-wal") == before;
    };
    const Stopwatch writing;
    bool begunAnew = false;
    while (!begunAnew && writing.seconds() < static_cast<double>(kLongEnough.count())) {
        begunAnew = writeALogful();
    }
    EXPECT_TRUE(begunAnew);
    EXPECT_EQ(kSettings.integer(R"({"a":{"n":0}})"), number);
}

}  // namespace
