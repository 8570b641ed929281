// What of a first update survives a power cut: fsync(2) is the test's own and notes what is synced.
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include "conformanceTest.h"
#include "platform/factoryData.h"
#include "platform/local/local.h"

namespace {

// Every thread of the program syncs here, in other tests many at a time.
class Synced {
public:
    void note(int fd)
    {
        std::error_code ignored;
        const std::filesystem::path path =
            std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), ignored);
        const std::lock_guard<std::mutex> lock(mutex_);
        paths_.push_back(path);
    }
    std::vector<std::filesystem::path> paths()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return paths_;
    }

private:
    std::mutex mutex_;
    std::vector<std::filesystem::path> paths_;
};

Synced& synced()
{
    static Synced all;
    return all;
}

}  // namespace

extern "C" int fsync(int fd)
{
    synced().note(fd);
    return static_cast<int>(::syscall(SYS_fsync, fd));
}

namespace {

class LocalDurability : public ConformanceTest {
protected:
    static std::filesystem::path stores() { return std::string(std::getenv("PLATFORM")).substr(sizeof "local:" - 1); }

    /// Directories above the stores that were synced so far.
    static std::vector<std::filesystem::path> syncedAbove()
    {
        std::vector<std::filesystem::path> found;
        for (const std::filesystem::path& path : synced().paths()) {
            if (path != stores() && std::filesystem::is_directory(path)) {
                found.push_back(path);
            }
        }
        return found;
    }
};

TEST_F(LocalDurability, TheDirectoriesMadeForAFirstUpdateAreSynced)
{
    const std::filesystem::path base = stores().parent_path().parent_path();
    ASSERT_FALSE(std::filesystem::exists(stores().parent_path()));
    ASSERT_EQ(user_config_update(R"({"a":{"b":1}})"), 0);
    EXPECT_EQ(syncedAbove(), (std::vector<std::filesystem::path>{base, stores().parent_path()}));
    ASSERT_EQ(user_status_update(R"({"a":{"b":1}})"), 0);
    EXPECT_EQ(syncedAbove().size(), 2U) << "a directory that was there has been synced again";
}

TEST_F(LocalDurability, ARelativeDirectoryIsSyncedToo)
{
    const std::filesystem::path base = stores().parent_path().parent_path();
    std::filesystem::current_path(base);
    ::setenv("PLATFORM", "local:made//here/", 1);
    ASSERT_EQ(local::writeFactoryData("key", "text"), 0);
    EXPECT_EQ(syncedAbove(), (std::vector<std::filesystem::path>{base, base / "made"}));
    EXPECT_TRUE(std::filesystem::exists(base / "made/here/factory.db"));
}

}  // namespace
