// The bundled engine's files, and what its tools do with them.
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sqlite3.h>
#include <sys/stat.h>
#include <thread>

#include "conformanceTest.h"
#include "platform/local/local.h"

namespace {

namespace fs = std::filesystem;

// Another program at the file.
class Sqlite {
public:
    explicit Sqlite(const std::string& file)
    {
        EXPECT_EQ(sqlite3_open((local::storeDirectory() + '/' + file).c_str(), &database_), SQLITE_OK);
    }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;
    ~Sqlite() { sqlite3_close(database_); }

    std::vector<std::string> run(const std::string& sql)
    {
        std::vector<std::string> rows;
        const auto collect = [](void* given, int count, char** columns, char**) {
            std::string row;
            for (int i = 0; i < count; ++i) {
                row += (i > 0 ? "|" : "") + std::string(columns[i] != nullptr ? columns[i] : "(null)");
            }
            static_cast<std::vector<std::string>*>(given)->push_back(row);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(database_, sql.c_str(), collect, &rows, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database_);
        return rows;
    }

private:
    sqlite3* database_ = nullptr;
};

using Rows = std::vector<std::string>;

std::string text(json_token* token)
{
    if (token == nullptr) {
        return "absent";
    }
    char* allocated = json_token_to_string(token);
    std::string copy = allocated;
    std::free(allocated);
    json_token_ref_put(token);
    return copy;
}

class LocalStore : public ConformanceTest {};

TEST_F(LocalStore, OneRowALeaf)
{
    ASSERT_EQ(user_config_update(R"({"b":{"list":[1,{"x":2}],"text":"a/b"},"a":{"yes":true,"n":-1,"none":null}})"), 0);
    ASSERT_EQ(user_status_update(R"({"s":{"d":1.50}})"), 0);
    EXPECT_EQ(Sqlite("settings.db").run("SELECT * FROM leaf ORDER BY path"),
              (Rows{"a.n|-1", "a.none|null", "a.yes|true", R"(b.list|[1,{"x":2}])", "b.text|\"a/b\""}));
    EXPECT_EQ(Sqlite("status.db").run("SELECT * FROM leaf"), (Rows{"s.d|1.50"}));
    EXPECT_EQ(Sqlite("settings.db").run("PRAGMA journal_mode"), (Rows{"wal"}));
    EXPECT_EQ(Sqlite("status.db").run("PRAGMA journal_mode"), (Rows{"wal"}));
}

TEST_F(LocalStore, FilesAreNotForEverybody)
{
    ASSERT_EQ(user_config_update(R"({"a":{"b":1}})"), 0);
    ASSERT_EQ(user_status_update(R"({"a":{"b":1}})"), 0);
    ASSERT_EQ(local::writeFactoryData("k", "v"), 0);
    int files = 0;
    for (const auto& entry : fs::directory_iterator(local::storeDirectory())) {
        struct stat status {};
        ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0640U) << entry.path();
        ++files;
    }
    EXPECT_GE(files, 3);
}

TEST_F(LocalStore, AnUpdateThatChangesNothingWritesNothing)
{
    ASSERT_EQ(user_config_update(R"({"a":{"b":1,"c":"x"}})"), 0);
    Sqlite other("settings.db");
    other.run("BEGIN IMMEDIATE");  // a writer would wait for it, and in vain
    EXPECT_EQ(user_config_update(R"({"a":{"b":1,"c":"x"}})"), 0);
    EXPECT_EQ(user_config_update(R"({"a":{"c":"x"}})"), 0);
    const auto size = fs::file_size(local::storeDirectory() + "/settings.db-wal");
    other.run("ROLLBACK");
    EXPECT_EQ(user_config_update(R"({"a":{"b":1}})"), 0);
    EXPECT_EQ(fs::file_size(local::storeDirectory() + "/settings.db-wal"), size);
}

TEST_F(LocalStore, ReadersPassAHeldWriteLock)
{
    ASSERT_EQ(user_config_update(R"({"a":{"b":1}})"), 0);
    Sqlite other("settings.db");
    other.run("BEGIN IMMEDIATE; UPDATE leaf SET value = '2'");  // who waited for it would wait in vain
    EXPECT_EQ(kSettings.integer(R"({"a":{"b":0}})"), 1);
    other.run("COMMIT");
    EXPECT_EQ(kSettings.integer(R"({"a":{"b":0}})"), 2);
}

TEST_F(LocalStore, AWriterWaitsForAHeldLock)
{
    ASSERT_EQ(user_config_update(R"({"a":{"b":1}})"), 0);
    Sqlite other("settings.db");
    other.run("BEGIN IMMEDIATE");
    const Stopwatch watch;
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(1'000));  // the wait is what is tested
        other.run("ROLLBACK");
    });
    EXPECT_EQ(user_config_update(R"({"a":{"b":2}})"), 0);
    EXPECT_GE(watch.seconds(), 0.9);
    release.join();
}

TEST_F(LocalStore, AWriterGivesUpAfterFiveSeconds)
{
    ASSERT_EQ(user_config_update(R"({"a":{"b":1}})"), 0);
    Sqlite other("settings.db");
    other.run("BEGIN IMMEDIATE");
    const Stopwatch watch;
    errno = 0;
    EXPECT_NE(user_config_update(R"({"a":{"b":2}})"), 0);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_GE(watch.seconds(), 4.5);
    EXPECT_LT(watch.seconds(), kNotForEver);
    other.run("ROLLBACK");
    EXPECT_EQ(kSettings.integer(R"({"a":{"b":0}})"), 1);
    EXPECT_EQ(user_config_update(R"({"a":{"b":3}})"), 0);
}

TEST_F(LocalStore, AnotherSchemeIsNotThisEngine)
{
    ::setenv("PLATFORM", "other:/somewhere", 1);
    EXPECT_EQ(local::storeDirectory(), "");
    errno = 0;
    EXPECT_NE(user_config_update(R"({"a":{"b":1}})"), 0);
    EXPECT_EQ(errno, EPROTONOSUPPORT);
    EXPECT_EQ(kSettings.integer(R"({"a":{"b":0}})"), std::nullopt);
    ::unsetenv("PLATFORM");
    EXPECT_EQ(local::storeDirectory(), "/var/lib/receiver");
}

TEST_F(LocalStore, AnImpossibleDirectoryIsAFailureAndNoMore)
{
    ::setenv("PLATFORM", "local:/proc/no/such", 1);
    errno = 0;
    EXPECT_NE(user_config_update(R"({"a":{"b":1}})"), 0);
    EXPECT_NE(errno, 0);
    errno = 0;
    EXPECT_EQ(kSettings.tree("{}"), "absent");
    EXPECT_NE(errno, 0);
}

TEST_F(LocalStore, PathsAreReadAndRemoved)
{
    using local::Store;
    ASSERT_EQ(local::update(Store::settings, R"({"a":{"b":{"c":1,"d":[2]},"b-":5,"none":null},"x":{"y":"z"}})"), 0);
    EXPECT_EQ(text(local::readPath(Store::settings, "a.b")), R"({"c":1,"d":[2]})");
    EXPECT_EQ(text(local::readPath(Store::settings, "a.b.c")), "1");
    EXPECT_EQ(text(local::readPath(Store::settings, "x.y")), "\"z\"");
    for (const char* path : {"", "a.b.e", "b", "a..b", "a.", ".a", "."}) {
        errno = 0;
        EXPECT_EQ(local::readPath(Store::settings, path), nullptr) << path;
        EXPECT_EQ(errno, ENOENT) << path;
        EXPECT_NE(local::unset(Store::settings, path), 0) << path;
        EXPECT_EQ(errno, ENOENT) << path;
    }
    EXPECT_EQ(text(local::dump(Store::settings, "x")), R"({"x":{"y":"z"}})");
    EXPECT_EQ(text(local::dump(Store::settings, "nothing")), "{}");
    EXPECT_EQ(text(local::dump(Store::status)), "{}");
    Listener listener({"aUserConfigChanged"});
    EXPECT_EQ(local::unset(Store::settings, "a.b"), 0);
    EXPECT_EQ(listener.all(), std::vector<Event>{});
    EXPECT_EQ(text(local::dump(Store::settings)), R"({"a":{"b-":5,"none":null},"x":{"y":"z"}})");
    EXPECT_EQ(local::update(Store::settings, R"({"a":{"b":1}})"), 0);
}

TEST_F(LocalStore, FactoryDataIsATableOfKeyAndText)
{
    EXPECT_EQ(text(local::dumpFactoryData()), "{}");
    ASSERT_EQ(local::writeFactoryData("SerialNumber", "12"), 0);
    ASSERT_EQ(local::writeFactoryData("MacAddr", ""), 0);
    EXPECT_EQ(text(local::dumpFactoryData()), R"({"MacAddr":"","SerialNumber":"12"})");
    EXPECT_EQ(Sqlite("factory.db").run("SELECT key, text FROM factory ORDER BY key"),
              (Rows{"MacAddr|", "SerialNumber|12"}));
}

TEST_F(LocalStore, ThreadsCloseTheirStores)
{
    ASSERT_EQ(user_config_update(R"({"a":{"b":0}})"), 0);
    // SQLite keeps one descriptor of a closed connection for the next one, as long as another is open on the file.
    long openFiles = 0;
    for (int i = 1; i <= 40; ++i) {
        std::thread([i] {
            EXPECT_EQ(user_config_update((R"({"a":{"b":)" + std::to_string(i) + "}}").c_str()), 0);
        }).join();
        const auto all = fs::directory_iterator("/proc/self/fd");
        const auto now = std::distance(begin(all), end(all));
        if (i > 1) {
            ASSERT_EQ(now, openFiles);
        }
        openFiles = now;
    }
}

}  // namespace
