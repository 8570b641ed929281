// A store file that SQLite finds corrupt when it opens it makes room for a new one; no other file does.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <future>
#include <regex>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <linux/capability.h>

#include "endToEnd/daemonTest.h"
#include "faults/sqliteFile.h"
#include "platform/store.h"

namespace {

namespace fs = std::filesystem;
using local::Store;

constexpr std::size_t kPage = 4'096;

struct File {
    const char* name;
    const char* verb;  // platformctl's
};
constexpr File kFiles[] = {{"settings.db", "config"}, {"status.db", "status"}, {"factory.db", "factory"}};

class CorruptStore : public DaemonTest {
protected:
    CorruptStore() { fs::create_directories(device_.directory()); }

    // Each use of the stores below is another program's: this one opens none unless a test says so.
    int run(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> words{PLATFORMCTL};
        words.insert(words.end(), arguments.begin(), arguments.end());
        ChildProcess program(start(words));
        return program.wait();
    }
    ChildProcess::Start start(const std::vector<std::string>& words)
    {
        return {.program = PLATFORMCTL, .words = words, .environment = device_.environment(), .output = said_.fd()};
    }

    // A store with enough leaves for several pages.
    void fill(const File& file)
    {
        if (std::string(file.verb) == "factory") {
            for (int i = 0; i < 3; ++i) {
                ASSERT_EQ(run({"factory", "set", "key" + std::to_string(i), std::string(3'000, 'x')}), 0);
            }
            return;
        }
        std::string document;
        for (int i = 0; i < 300; ++i) {
            document += (i > 0 ? ",\"leaf" : "\"leaf") + std::to_string(i) + "\":\"" + std::string(80, 'x') + '"';
        }
        ASSERT_EQ(run({file.verb, "update", "{\"area\":{" + document + "}}"}), 0);
    }

    [[nodiscard]] std::string path(const char* name) const { return device_.directory() + '/' + name; }
    [[nodiscard]] std::vector<std::string> setAside() const { return setAsideIn(device_.directory()); }

    OutputFile said_;
};

// What may have become of a file.
struct Damage {
    const char* name;
    void (*harm)(const std::string& path);
};

constexpr Damage kDamages[] = {
    {"text", [](const std::string& path) { writeBytes(path, "no database"); }},
    {"zeros", [](const std::string& path) { writeBytes(path, std::string(2 * kPage, '\0')); }},
    {"headerLost", [](const std::string& path) { overwrite(path, 0, std::string(100, '\xff')); }},
    {"cutShort", [](const std::string& path) { fs::resize_file(path, kPage); }},
    {"tableLost", [](const std::string& path) { overwrite(path, kPage, std::string(kPage, '\xff')); }},
};

TEST_F(CorruptStore, isSetAsideAndTheStoreStartsEmpty)
{
    for (const File& file : kFiles) {
        std::size_t count = setAside().size();
        for (const Damage& damage : kDamages) {
            SCOPED_TRACE(std::string(file.name) + ' ' + damage.name);
            fill(file);
            ASSERT_FALSE(fs::exists(path(file.name) + "-wal"));
            damage.harm(path(file.name));
            const std::string bytes = bytesOf(path(file.name));
            const std::size_t from = said_.size();
            EXPECT_EQ(run({file.verb, "dump"}), 0);
            const std::string said = said_.from(from);
            std::smatch name;
            ASSERT_TRUE(std::regex_match(said, name,
                                         std::regex("(.*) is corrupt: it is kept as (.*\\.corrupt-\\d{8}T\\d{6}.*), "
                                                    "and an empty one takes its place\n\\{\\}\n")))
                << said;
            EXPECT_EQ(name[1], path(file.name));
            EXPECT_TRUE(bytesOf(name[2]) == bytes);
            EXPECT_EQ(setAside().size(), ++count);
        }
    }
}

TEST_F(CorruptStore, takesItsWriteAheadLogWithIt)
{
    fill(kFiles[0]);
    const std::string log = std::string(32, 'w');
    const std::string index = std::string(32'768, 's');
    writeBytes(path("settings.db"), std::string(kPage, 'x'));
    writeBytes(path("settings.db-wal"), log);
    writeBytes(path("settings.db-shm"), index);
    EXPECT_EQ(run({"config", "set", "a.b", "1"}), 0);
    ASSERT_EQ(setAside().size(), 1U);
    EXPECT_EQ(bytesOf(setAside()[0]), std::string(kPage, 'x'));
    EXPECT_EQ(bytesOf(setAside()[0] + "-wal"), log);
    EXPECT_TRUE(fs::exists(setAside()[0] + "-shm"));
    EXPECT_EQ(run({"config", "get", "a.b"}), 0);
    EXPECT_EQ(SqliteFile(path("settings.db")).run("SELECT * FROM leaf"), std::vector<std::string>{"a.b|1"});
}

TEST_F(CorruptStore, isSetAsideByOneOfManyProgramsAndNoneLosesItsValue)
{
    constexpr int kPrograms = 8;
    for (int round = 1; round <= 10; ++round) {
        fill(kFiles[0]);
        writeBytes(path("settings.db"), "no database");
        std::vector<std::unique_ptr<ChildProcess>> programs;
        for (int i = 0; i < kPrograms; ++i) {
            programs.push_back(std::make_unique<ChildProcess>(
                start({PLATFORMCTL, "config", "set", "a.leaf" + std::to_string(i), std::to_string(round)})));
        }
        for (const auto& program : programs) {
            EXPECT_EQ(program->wait(), 0);
        }
        EXPECT_EQ(setAside().size(), static_cast<std::size_t>(round)) << said_.from(0);
        EXPECT_EQ(SqliteFile(path("settings.db"))
                      .run("SELECT count(*) FROM leaf WHERE value = " + std::string("'") + std::to_string(round) + "'"),
                  std::vector<std::string>{std::to_string(kPrograms)});
    }
    std::size_t lines = 0;
    const std::string said = said_.from(0);
    for (std::size_t at = said.find("is corrupt"); at != std::string::npos; at = said.find("is corrupt", at + 1)) {
        ++lines;
    }
    EXPECT_EQ(lines, 10U);
}

TEST_F(CorruptStore, isLeftByAProgramThatHadItOpen)
{
    device_.put(Store::settings, "a.old", "1");  // this program has it open from now on
    loseHeader(path("settings.db"));
    ASSERT_EQ(run({"config", "set", "a.other", "2"}), 0);
    ASSERT_EQ(setAside().size(), 1U);
    // A query asks for the file once a tick of the kernel's clock, an update always.
    EXPECT_TRUE(becomesTrue([] { return TestDevice::read(Store::settings, "a.old") == std::nullopt; }));
    EXPECT_EQ(TestDevice::read(Store::settings, "a.other"), "2");
    EXPECT_EQ(local::update(Store::settings, R"({"a":{"own":3}})"), 0);
    EXPECT_EQ(SqliteFile(path("settings.db")).run("SELECT * FROM leaf"),
              (std::vector<std::string>{"a.other|2", "a.own|3"}));
}

TEST_F(CorruptStore, takesNothingOfTheNewOneAlongWhenItsLastUserEnds)
{
    device_.put(Store::settings, "a.old", "1");
    std::promise<void> opened;
    std::promise<void> replaced;
    std::thread lastUser([&] {
        EXPECT_EQ(TestDevice::read(Store::settings, "a.old"), "1");
        opened.set_value();
        replaced.get_future().wait();
    });
    opened.get_future().wait();
    loseHeader(path("settings.db"));
    EXPECT_EQ(run({"config", "set", "a.other", "2"}), 0);
    // In the new one's -wal, which stays as long as it is open here.
    EXPECT_EQ(local::update(Store::settings, R"({"a":{"new":1}})"), 0);
    replaced.set_value();
    lastUser.join();
    EXPECT_EQ(run({"config", "get", "a.new"}), 0);
    EXPECT_EQ(local::update(Store::settings, R"({"a":{"newer":1}})"), 0);
    EXPECT_EQ(run({"config", "get", "a.newer"}), 0);
    EXPECT_EQ(setAside().size(), 1U);
}

TEST_F(CorruptStore, getsANameOfItsOwnEachTime)
{
    for (std::size_t count = 1; count <= 5; ++count) {
        writeBytes(path("settings.db"), "no database");
        ASSERT_EQ(run({"config", "dump"}), 0);
        EXPECT_EQ(setAside().size(), count);
    }
}

TEST_F(CorruptStore, isNotWhatIsHealthy)
{
    for (const File& file : kFiles) {
        fill(file);
        struct stat before {};
        ASSERT_EQ(::stat(path(file.name).c_str(), &before), 0);
        // Leftovers of a kill beside it are no damage.
        for (const char* leftover : {"", "garbage"}) {
            writeBytes(path(file.name) + "-wal", leftover);
            writeBytes(path(file.name) + "-shm", leftover);
            EXPECT_EQ(run({file.verb, "dump"}), 0);
        }
        struct stat after {};
        ASSERT_EQ(::stat(path(file.name).c_str(), &after), 0);
        EXPECT_EQ(after.st_ino, before.st_ino);
    }
    EXPECT_EQ(setAside(), std::vector<std::string>{});
    EXPECT_EQ(said_.from(0).find("corrupt"), std::string::npos);
}

TEST_F(CorruptStore, isNotWhatIsNewOrEmpty)
{
    writeBytes(path("settings.db"), "");
    EXPECT_EQ(run({"config", "set", "a.b", "1"}), 0);
    EXPECT_EQ(run({"config", "get", "a.b"}), 0);
    EXPECT_EQ(setAside(), std::vector<std::string>{});
}

TEST_F(CorruptStore, isNotWhatIsLocked)
{
    fill(kFiles[0]);
    SqliteFile other(path("settings.db"));
    other.run("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE leaf SET value = 'true'");
    EXPECT_EQ(run({"config", "dump"}), 1);
    EXPECT_NE(said_.from(0).find(std::strerror(EBUSY)), std::string::npos) << said_.from(0);
    other.run("ROLLBACK");
    EXPECT_EQ(setAside(), std::vector<std::string>{});
}

TEST_F(CorruptStore, staysWhereItsDirectoryTakesNoChange)
{
    fill(kFiles[0]);
    writeBytes(path("settings.db"), "no database");
    // Programs started from now on obey file modes, also those of root.
    ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
    fs::permissions(device_.directory(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(run({"config", "set", "a.b", "1"}), 1);
    EXPECT_NE(said_.from(0).find(std::strerror(EUCLEAN)), std::string::npos) << said_.from(0);
    fs::permissions(device_.directory(), fs::perms::owner_all);
    EXPECT_EQ(setAside(), std::vector<std::string>{});
    EXPECT_EQ(run({"config", "set", "a.b", "1"}), 0);
    EXPECT_EQ(setAside().size(), 1U);
}

}  // namespace
