// Values that are answered from memory are those that a read would find, whatever others do to the store meanwhile.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "conformanceTest.h"
#include "patientUpdate.h"
#include "platform/local/committedState.h"
#include "platform/local/leafMemory.h"
#include "platform/local/local.h"

namespace {

using local::CommittedState;
using local::LeafMemory;
using local::Store;

// Another program at the file, which the engine knows nothing of.
class Stranger {
public:
    explicit Stranger(const char* file = "settings.db")
    {
        EXPECT_EQ(sqlite3_open((local::storeDirectory() + '/' + file).c_str(), &database_), SQLITE_OK);
        sqlite3_busy_timeout(database_, 5'000);
    }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;
    ~Stranger() { sqlite3_close(database_); }

    int run(const std::string& sql) { return sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr); }
    [[nodiscard]] sqlite3* handle() const { return database_; }

private:
    sqlite3* database_ = nullptr;
};

class LocalMemory : public ConformanceTest {
protected:
    static std::optional<int> number() { return kSettings.integer(R"({"a":{"n":0}})"); }
};

TEST_F(LocalMemory, EveryKindOfCommitIsSeen)
{
    ASSERT_EQ(user_config_update(R"({"a":{"n":0}})"), 0);
    Stranger other;
    for (int i = 1; i <= 300; ++i) {
        const std::string set = "UPDATE leaf SET value = '" + std::to_string(i) + "' WHERE path = 'a.n'";
        ASSERT_EQ(number(), i - 1);  // remembered from here on
        switch (i % 5) {
        case 0: ASSERT_EQ(other.run(set), SQLITE_OK); break;
        case 1: ASSERT_EQ(other.run("BEGIN IMMEDIATE; " + set + "; COMMIT"), SQLITE_OK); break;
        case 2: ASSERT_EQ(user_config_update((R"({"a":{"n":)" + std::to_string(i) + "}}").c_str()), 0); break;
        case 3: ASSERT_EQ(other.run(set + "; PRAGMA wal_checkpoint(TRUNCATE)"), SQLITE_OK); break;
        default: ASSERT_EQ(other.run("PRAGMA wal_checkpoint(RESTART); " + set), SQLITE_OK); break;
        }
        ASSERT_EQ(number(), i);
        ASSERT_EQ(number(), i);
    }
}

TEST_F(LocalMemory, WhatIsNotCommittedIsNotSeen)
{
    ASSERT_EQ(user_config_update(R"({"a":{"n":1},"z":{"leaf":1}})"), 0);
    ASSERT_EQ(number(), 1);
    Stranger other;
    ASSERT_EQ(other.run("BEGIN IMMEDIATE; UPDATE leaf SET value = '2' WHERE path = 'a.n'"), SQLITE_OK);
    EXPECT_EQ(number(), 1);
    EXPECT_EQ(number(), 1);
    ASSERT_EQ(other.run("ROLLBACK"), SQLITE_OK);
    EXPECT_EQ(number(), 1);
    // Puts a.n, then meets a leaf where it has a branch, and takes everything back.
    EXPECT_NE(user_config_update(R"({"a":{"n":3},"z":{"leaf":{"below":1}}})"), 0);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(number(), 1);
    EXPECT_EQ(number(), 1);
}

TEST_F(LocalMemory, LeavesComeAndGo)
{
    EXPECT_EQ(number(), std::nullopt);
    EXPECT_EQ(number(), std::nullopt);
    Stranger other;
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(other.run("INSERT INTO leaf VALUES('a.n', '7')"), SQLITE_OK);
        ASSERT_EQ(number(), 7);
        ASSERT_EQ(number(), 7);
        ASSERT_EQ(i % 2 == 0 ? other.run("DELETE FROM leaf") : local::unset(Store::settings, "a"), 0);
        errno = 0;
        ASSERT_EQ(number(), std::nullopt);
        ASSERT_EQ(errno, ENOENT);
        errno = 0;
        ASSERT_EQ(number(), std::nullopt);
        ASSERT_EQ(errno, ENOENT);
    }
}

// Around the lengths that are still remembered, and more leaves than there is room for.
TEST_F(LocalMemory, LeavesOfEveryLengthAreThemselves)
{
    for (int round = 0; round < 2; ++round) {
        std::string document;
        for (int i = 1; i <= 140; ++i) {
            document += (i > 1 ? ",\"" : "{\"a\":{\"") + std::string(static_cast<std::size_t>(i), 'k') + "\":\"" +
                        std::string(static_cast<std::size_t>(i), round == 0 ? 'x' : 'y') + '"';
        }
        ASSERT_EQ(user_config_update((document + "}}").c_str()), 0);
        for (int look = 0; look < 3; ++look) {
            for (int i = 1; i <= 140; ++i) {
                const std::string key(static_cast<std::size_t>(i), 'k');
                ASSERT_EQ(kSettings.text(R"({"a":{")" + key + R"(":""}})"),
                          std::string(static_cast<std::size_t>(i), round == 0 ? 'x' : 'y'));
            }
        }
    }
}

TEST_F(LocalMemory, OneStoreIsNotTheOther)
{
    ASSERT_EQ(user_config_update(R"({"a":{"n":1}})"), 0);
    ASSERT_EQ(user_status_update(R"({"a":{"n":2}})"), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(kSettings.integer(R"({"a":{"n":0}})"), 1);
        EXPECT_EQ(kStatus.integer(R"({"a":{"n":0}})"), 2);
        EXPECT_EQ(kSettings.boolean(R"({"a":{"n":0}})"), std::nullopt);
    }
}

// The memory itself: an opened store's connection is not to be had, so one is made of a stranger's.
TEST_F(LocalMemory, RemembersUntilACommit)
{
    ASSERT_EQ(user_config_update(R"({"a":{"n":1}})"), 0);
    Stranger reader;
    Stranger writer;
    ASSERT_EQ(reader.run("SELECT * FROM leaf"), SQLITE_OK);
    LeafMemory memory;
    memory.watch(reader.handle());
    EXPECT_EQ(memory.recall("a.n"), nullptr);
    memory.remember("a.n", {.exists = true, .text = "1"});
    const LeafMemory::Leaf* leaf = memory.recall("a.n");
    ASSERT_NE(leaf, nullptr);
    EXPECT_TRUE(leaf->exists);
    EXPECT_EQ(leaf->text, "1");
    EXPECT_EQ(memory.recall("a.m"), nullptr);
    memory.remember("a.m", {.exists = false, .text = {}});
    ASSERT_NE(memory.recall("a.m"), nullptr);
    EXPECT_FALSE(memory.recall("a.m")->exists);

    ASSERT_EQ(writer.run("UPDATE leaf SET value = '2'"), SQLITE_OK);
    EXPECT_EQ(memory.recall("a.n"), nullptr);
    EXPECT_EQ(memory.recall("a.m"), nullptr);
    // A commit between the look and the read, or between the read and the end: nothing is sure.
    ASSERT_EQ(writer.run("UPDATE leaf SET value = '3'"), SQLITE_OK);
    memory.remember("a.n", {.exists = true, .text = "2"});
    EXPECT_EQ(memory.recall("a.n"), nullptr);
    memory.remember("a.n", {.exists = true, .text = "3"});
    ASSERT_NE(memory.recall("a.n"), nullptr);
    EXPECT_EQ(memory.recall("a.n")->text, "3");

    const std::string longest(64, 'p');
    for (const std::string& path : {longest, longest + 'p'}) {
        memory.recall(path);
        memory.remember(path, {.exists = true, .text = longest});
        EXPECT_EQ(memory.recall(path) != nullptr, path == longest);
    }
    memory.recall("b");
    memory.remember("b", {.exists = true, .text = longest + 't'});
    EXPECT_EQ(memory.recall("b"), nullptr);
}

// A commit of one's own, of one page, changes what it set and nothing else, unless it was not alone.
TEST_F(LocalMemory, KeepsTheRestAfterACommitOfItsOwn)
{
    ASSERT_EQ(user_config_update(R"({"a":{"n":1,"m":1}})"), 0);
    Stranger own;
    Stranger other;
    ASSERT_EQ(own.run("SELECT * FROM leaf"), SQLITE_OK);
    LeafMemory memory;
    memory.watch(own.handle());
    const auto set = [](Stranger& writer, const char* path, const char* value) {
        ASSERT_EQ(writer.run(std::string("UPDATE leaf SET value = '") + value + "' WHERE path = '" + path + "'"),
                  SQLITE_OK);
    };
    const auto known = [&](const char* path) {
        const LeafMemory::Leaf* leaf = memory.recall(path);
        return leaf != nullptr ? std::string(leaf->text) : "unknown";
    };
    const auto read = [&](const char* path, const char* value) {
        memory.recall(path);
        memory.remember(path, {.exists = true, .text = value});
    };
    read("a.n", "1");
    read("a.m", "1");
    set(own, "a.n", "2");
    memory.replaced("a.n", "2");
    EXPECT_EQ(known("a.n"), "2");
    EXPECT_EQ(known("a.m"), "1");

    set(other, "a.m", "5");
    set(own, "a.n", "3");
    memory.replaced("a.n", "3");
    EXPECT_EQ(known("a.n"), "unknown");
    EXPECT_EQ(known("a.m"), "unknown");

    read("a.n", "3");
    read("a.m", "5");
    set(own, "a.n", "4");
    set(other, "a.m", "6");
    memory.replaced("a.n", "4");
    EXPECT_EQ(known("a.n"), "unknown");
    EXPECT_EQ(known("a.m"), "unknown");

    // The log begins anew in between: what it holds cannot be counted.
    read("a.m", "6");
    ASSERT_EQ(other.run("PRAGMA wal_checkpoint(RESTART)"), SQLITE_OK);
    known("a.n");
    set(own, "a.n", "5");
    memory.replaced("a.n", "5");
    EXPECT_EQ(known("a.m"), "unknown");

    // A value that is too long to be remembered leaves none behind that is no more.
    read("a.n", "5");
    const std::string longer(70, '7');
    set(own, "a.n", longer.c_str());
    memory.replaced("a.n", longer);
    EXPECT_EQ(known("a.n"), "unknown");
}

// Each thread has a memory of its own: the others keep theirs after a commit of the process, unless it was not alone.
TEST_F(LocalMemory, KeepsTheRestAfterACommitOfAnotherThread)
{
    ASSERT_EQ(user_config_update(R"({"a":{"n":1,"m":1}})"), 0);
    Stranger writer;
    Stranger reader;
    Stranger other;
    LeafMemory ofWriter;
    LeafMemory ofReader;
    ASSERT_EQ(writer.run("SELECT * FROM leaf"), SQLITE_OK);
    ASSERT_EQ(reader.run("SELECT * FROM leaf"), SQLITE_OK);
    ofWriter.watch(writer.handle());
    ofReader.watch(reader.handle());
    const auto set = [](Stranger& by, const char* path, const std::string& value) {
        ASSERT_EQ(by.run("UPDATE leaf SET value = '" + value + "' WHERE path = '" + path + "'"), SQLITE_OK);
    };
    const auto change = [&](const std::string& value) {
        ofWriter.recall("a.n");
        set(writer, "a.n", value);
        ofWriter.replaced("a.n", value);
    };
    const auto known = [&](const char* path) {
        const LeafMemory::Leaf* leaf = ofReader.recall(path);
        return leaf != nullptr ? std::string(leaf->text) : "unknown";
    };
    const auto read = [&](const char* path, const char* value) {
        ofReader.recall(path);
        ofReader.remember(path, {.exists = true, .text = value});
    };
    read("a.n", "1");
    read("a.m", "1");
    change("2");
    EXPECT_EQ(known("a.n"), "2");
    EXPECT_EQ(known("a.m"), "1");

    // A few in a row are followed, the last counts; of more, the first have been forgotten.
    for (int i = 0; i < LeafMemory::kFollowed; ++i) {
        change(std::to_string(10 + i));
    }
    EXPECT_EQ(known("a.m"), "1");
    EXPECT_EQ(known("a.n"), std::to_string(10 + LeafMemory::kFollowed - 1));
    for (int i = 0; i <= LeafMemory::kFollowed; ++i) {
        change(std::to_string(20 + i));
    }
    EXPECT_EQ(known("a.n"), "unknown");
    EXPECT_EQ(known("a.m"), "unknown");
    change("4");

    // Somebody else's among them.
    read("a.n", "4");
    read("a.m", "1");
    change("3");
    set(other, "a.m", "2");
    change("4");
    EXPECT_EQ(known("a.n"), "unknown");
    EXPECT_EQ(known("a.m"), "unknown");

    // Of somebody else, before or after.
    read("a.n", "4");
    read("a.m", "1");
    set(other, "a.m", "5");
    change("5");
    EXPECT_EQ(known("a.m"), "unknown");
    read("a.n", "5");
    read("a.m", "5");
    change("6");
    set(other, "a.m", "6");
    EXPECT_EQ(known("a.n"), "unknown");
    EXPECT_EQ(known("a.m"), "unknown");

    // What was read before the commit and is told after it is not what stands.
    read("a.m", "6");
    EXPECT_EQ(known("a.n"), "unknown");
    change("7");
    ofReader.remember("a.n", {.exists = true, .text = "6"});
    EXPECT_EQ(known("a.n"), "7");
    EXPECT_EQ(known("a.m"), "6");

    // A value that is too long to be told.
    change(std::string(70, '7'));
    EXPECT_EQ(known("a.n"), "unknown");
    EXPECT_EQ(known("a.m"), "unknown");
}

// A writer that dies while it publishes its commit leaves two copies that differ; one that makes the index anew begins
// with zeros.
TEST_F(LocalMemory, AHalfPublishedCommitTellsNothing)
{
    ASSERT_EQ(user_config_update(R"({"a":{"n":1}})"), 0);
    Stranger reader;
    ASSERT_EQ(reader.run("SELECT * FROM leaf"), SQLITE_OK);
    CommittedState state;
    CommittedState::Mark mark;
    EXPECT_FALSE(state.look(mark));  // watches nothing yet
    state.watch(reader.handle());
    ASSERT_TRUE(state.look(mark));

    const int fd = ::open((local::storeDirectory() + "/settings.db-shm").c_str(), O_RDWR | O_CLOEXEC);
    auto* index = static_cast<unsigned char*>(::mmap(nullptr, 4'096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    ASSERT_NE(index, MAP_FAILED);
    for (const std::size_t at : {0U, 8U, 16U, 47U, 48U, 95U}) {
        index[at] ^= 1U;
        EXPECT_FALSE(state.look(mark)) << at;
        index[at] ^= 1U;
        EXPECT_TRUE(state.look(mark)) << at;
    }
    unsigned char copy[96];
    std::copy(index, index + sizeof copy, copy);
    std::fill(index, index + sizeof copy, static_cast<unsigned char>(0));
    EXPECT_FALSE(state.look(mark));
    std::copy(copy, copy + sizeof copy, index);
    EXPECT_TRUE(state.look(mark));
    ::munmap(index, 4'096);  // the descriptor stays: closing it would drop the locks of this process
}

TEST_F(LocalMemory, OutsideOfAWriteAheadLogNothingIsTold)
{
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(":memory:", &database), SQLITE_OK);
    CommittedState state;
    CommittedState::Mark mark;
    state.watch(database);
    EXPECT_FALSE(state.look(mark));
    sqlite3_close(database);
}

// What processes at one store tell each other outside of it.
struct Shared {
    static constexpr int kWriters = 3;
    std::atomic<int> written[kWriters] = {};  // the last number whose update has returned
    std::atomic<int> stale = 0;               // reads of a number older than that
    std::atomic<int> reads = 0;
    std::atomic<int> failures = 0;
    std::atomic<bool> finished = false;
};

class LocalMemoryOfManyProcesses : public LocalMemory {
protected:
    LocalMemoryOfManyProcesses()
    {
        void* memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        shared_ = new (memory) Shared;
        ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);  // announcements are not looked at
    }
    ~LocalMemoryOfManyProcesses() override { ::munmap(shared_, sizeof(Shared)); }

    template <class Work>
    void start(Work work)
    {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            std::thread(work).join();  // whose connections, and what they had started, end with it
            ::_exit(0);
        }
        children_.push_back(child);
    }

    void await(std::size_t from, std::size_t to)
    {
        for (std::size_t i = from; i < to; ++i) {
            int status = 0;
            ASSERT_EQ(::waitpid(children_[i], &status, 0), children_[i]);
            EXPECT_EQ(status, 0);
        }
    }

    static std::string document(int writer, int number)
    {
        return "{\"race\":{\"w" + std::to_string(writer) + "\":" + std::to_string(number) + "}}";
    }

    // Each number's update has returned before it is told.
    void write(int writer, int times)
    {
        for (int number = 1; number <= times; ++number) {
            if (updateAmongOthers([&] { return kStatus.update(document(writer, number).c_str()); }) != 0) {
                ++shared_->failures;
                return;
            }
            shared_->written[writer].store(number, std::memory_order_release);
        }
    }

    void read()
    {
        while (!shared_->finished) {
            for (int writer = 0; writer < Shared::kWriters; ++writer) {
                const int least = shared_->written[writer].load(std::memory_order_acquire);
                const int seen = kStatus.integer(document(writer, 0)).value_or(0);
                if (seen < least) {
                    ++shared_->stale;
                }
                ++shared_->reads;
            }
        }
    }

    Shared* shared_;
    std::vector<pid_t> children_;
};

// The writers' threads tell those of the readers of their commits, while another process commits as well.
TEST_F(LocalMemoryOfManyProcesses, NoThreadReadsAValueOlderThanAnUpdateThatHasReturned)
{
    constexpr int kTimes = 400;
    start([&] { write(2, kTimes); });
    std::vector<std::thread> readers;
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i) {
        readers.emplace_back([&] { read(); });
        writers.emplace_back([&, i] { write(i, kTimes); });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    await(0, children_.size());
    EXPECT_TRUE(eventually([&] { return shared_->reads > kTimes; }));
    shared_->finished = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(shared_->failures, 0);
    EXPECT_EQ(shared_->stale, 0);
    for (int writer = 0; writer < Shared::kWriters; ++writer) {
        EXPECT_EQ(kStatus.integer(document(writer, 0)), kTimes);
    }
}

TEST_F(LocalMemoryOfManyProcesses, NobodyReadsAValueOlderThanAnUpdateThatHasReturned)
{
    constexpr int kTimes = 400;
    // The stranger would keep the first writer from making the store.
    start([&] { write(0, 1); });
    await(0, 1);
    for (int writer = 0; writer < Shared::kWriters; ++writer) {
        start([&, writer] { write(writer, kTimes); });
    }
    for (int reader = 0; reader < 2; ++reader) {
        start([&] {
            std::thread second([&] { read(); });
            read();
            second.join();
        });
    }
    // Logs that begin anew, and transactions that come to nothing.
    start([&] {
        Stranger other("status.db");
        while (!shared_->finished) {
            other.run("PRAGMA wal_checkpoint(TRUNCATE)");
            other.run("BEGIN IMMEDIATE; UPDATE leaf SET value = '-1'; ROLLBACK");
        }
    });
    await(1, 1 + Shared::kWriters);
    EXPECT_TRUE(eventually([&] { return shared_->reads > kTimes; }));
    shared_->finished = true;
    await(1 + Shared::kWriters, children_.size());
    EXPECT_EQ(shared_->failures, 0);
    EXPECT_EQ(shared_->stale, 0);
    for (int writer = 0; writer < Shared::kWriters; ++writer) {
        EXPECT_EQ(kStatus.integer(document(writer, 0)), kTimes);
    }
}

}  // namespace
