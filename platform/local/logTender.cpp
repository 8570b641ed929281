#include "platform/local/logTender.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <pthread.h>
#include <string>
#include <sys/statvfs.h>

#include <sqlite3.h>

namespace local {

namespace {

constexpr sqlite3_int64 kGrownLog = sqlite3_int64{1'024} * 1'024;
// A frame is a page of 4,096 bytes and a header of 24: the log begins anew long before it outgrows that.
constexpr int kFramesToCheckpoint = 200;
// Programs that change one setting and end have no use for a grown log.
constexpr int kCommitsToGrow = 2;
// Of a disk that is all but full nothing is taken in advance.
constexpr std::uint64_t kRoomToGrow = std::uint64_t{64} * 1'024 * 1'024;

// A reader that takes longer keeps the log from beginning anew until another time.
constexpr int kPatienceMs = 20;

struct Work {
    const DatabaseFile* file;
    std::string directory;
    bool checkpoint;
};

std::mutex g_mutex;  // of whoever starts the thread or waits for its end; the thread itself does not take it
std::atomic<bool> g_working = false;
std::optional<pthread_t> g_thread;  // to be joined

// The file of the log belongs to the connection: a descriptor of our own would, when closed, drop its locks.
sqlite3_file* logOf(sqlite3* database)
{
    sqlite3_file* log = nullptr;
    const int result = sqlite3_file_control(database, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    return result == SQLITE_OK && log != nullptr && log->pMethods != nullptr ? log : nullptr;
}

sqlite3_int64 sizeOf(sqlite3_file* log)
{
    sqlite3_int64 size = 0;
    return log->pMethods->xFileSize(log, &size) == SQLITE_OK ? size : kGrownLog;
}

bool hasRoom(const std::string& directory)
{
    struct statvfs disk {};
    return ::statvfs(directory.c_str(), &disk) == 0 && disk.f_bavail * disk.f_frsize >= kRoomToGrow;
}

// Zeros are no frames: a reader of the log, also one that recovers it after a power cut, stops where they begin.
void writeZeros(sqlite3_file* log)
{
    const char zeros[4'096] = {};
    const sqlite3_int64 before = sizeOf(log);
    for (sqlite3_int64 at = before; at < kGrownLog; at += sizeof zeros) {
        const int piece = static_cast<int>(std::min<sqlite3_int64>(sizeof zeros, kGrownLog - at));
        if (log->pMethods->xWrite(log, zeros, piece, at) != SQLITE_OK) {
            log->pMethods->xTruncate(log, before);  // what room there is belongs to the settings
            return;
        }
    }
}

// Under the lock that a writer needs, so that nobody appends meanwhile. Where a writer is at work, another time will
// do.
void grow(sqlite3* database, const std::string& directory)
{
    sqlite3_file* log = logOf(database);
    if (log != nullptr && sizeOf(log) < kGrownLog && hasRoom(directory) &&
        sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK) {
        writeZeros(log);
        sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

// The bulk without anybody's waiting. What was committed meanwhile takes a moment more, in which writers wait: a log
// that is never all in the database never begins anew.
void checkpoint(sqlite3* database)
{
    sqlite3_wal_checkpoint_v2(database, "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    sqlite3_busy_timeout(database, kPatienceMs);
    sqlite3_wal_checkpoint_v2(database, "main", SQLITE_CHECKPOINT_RESTART, nullptr, nullptr);
}

void work(const Work& work)
{
    const Database database = openDatabase(*work.file, work.directory);
    if (!database) {
        return;  // the next commit asks again
    }
    sqlite3_busy_timeout(database.get(), 0);
    if (work.file->keptGrown) {
        grow(database.get(), work.directory);
    }
    if (work.checkpoint) {
        checkpoint(database.get());
    }
}

void* entry(void* given)
{
    {
        const std::unique_ptr<const Work> owned(static_cast<const Work*>(given));
        work(*owned);
    }
    g_working = false;
    return nullptr;
}

// One after the other: malloc would give a thread that starts while the last one still ends memory of its own, for
// ever.
void join()
{
    if (g_thread) {
        pthread_join(*g_thread, nullptr);
        g_thread.reset();
    }
}

// The engine's threads take no signals: these are for the threads of the program.
bool startThread(Work* work)
{
    join();
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread{};
    g_working = true;
    if (pthread_create(&thread, nullptr, entry, work) == 0) {
        g_thread = thread;
    } else {
        g_working = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return g_thread.has_value();
}

}  // namespace

void LogTender::watch(sqlite3* database, const DatabaseFile& file)
{
    database_ = database;
    file_ = &file;
    const auto count = [](void* frames, sqlite3* /*database*/, const char* /*name*/, int pages) {
        *static_cast<int*>(frames) = pages;
        return SQLITE_OK;
    };
    sqlite3_wal_hook(database, count, &frames_);
}

bool LogTender::isShort() const
{
    sqlite3_file* log = logOf(database_);
    return log != nullptr && sizeOf(log) < kGrownLog;
}

void LogTender::tend()
{
    commits_ = std::min(commits_ + 1, kCommitsToGrow);
    const bool toGrow = commits_ == kCommitsToGrow && file_->keptGrown && !grownOrTried_;
    const bool toCheckpoint = frames_ >= kFramesToCheckpoint;
    if (!toGrow && !toCheckpoint) {
        return;
    }
    const std::unique_lock<std::mutex> lock(g_mutex, std::try_to_lock);
    if (!lock || g_working) {
        return;  // a later commit asks again
    }
    grownOrTried_ = grownOrTried_ || toGrow;
    if (!toCheckpoint && !isShort()) {
        return;
    }
    const std::string path = sqlite3_db_filename(database_, "main");
    auto order = std::make_unique<Work>(
        Work{.file = file_, .directory = path.substr(0, path.rfind('/')), .checkpoint = toCheckpoint});
    if (startThread(order.get())) {
        static_cast<void>(order.release());  // the thread's
    }
}

LogTender::~LogTender()
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    join();
}

}  // namespace local
