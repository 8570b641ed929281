#include "platform/local/database.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <sqlite3.h>

#include "platform/local/local.h"
#include "platform/local/setAside.h"
#include "platform/local/storeLock.h"
#include "platform/support/ownership.h"

namespace local {

namespace {

using Clock = std::chrono::steady_clock;

constexpr mode_t kDirectoryMode = 0750;
constexpr mode_t kFileMode = 0640;

// A new entry survives a power cut once its directory has been synced (fsync(2)). SQLite sees to its files, we to the
// directories above them. One that cannot be opened or synced is none that can be helped.
void syncParent(const std::string& path)
{
    const std::size_t slash = path.find_last_of('/');
    const std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const UniqueFd directory(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) {
        ::fsync(directory.get());
    }
}

bool makeDirectories(const std::string& path)
{
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string part = path.substr(0, slash);
        if (::mkdir(part.c_str(), kDirectoryMode) == 0) {
            syncParent(part);
        } else if (errno != EEXIST) {
            const int error =
                errno;  // what cannot be made may be there all the same, on a file system mounted read-only
            if (::access(part.c_str(), F_OK) != 0) {
                errno = error;
                return false;
            }
        }
        if (slash == std::string::npos) {
            return true;
        }
    }
}

// SQLite would make the file readable by everybody. Under a lock, because closing any descriptor of a file drops the
// locks that this process holds on it (fcntl(2)): nobody here may have the database open by then.
bool makeFile(const std::string& path)
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    const UniqueFd made(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
    return made || errno == EEXIST;
}

bool execute(sqlite3* database, const char* sql)
{
    return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// The first processes that meet on a new file compete for the switch to the write-ahead log, which SQLite refuses
// without asking the busy handler.
bool switchToWriteAheadLog(sqlite3* database)
{
    const auto deadline = Clock::now() + kWriterPatience;
    while (!execute(database, "PRAGMA journal_mode=WAL")) {
        if (sqlite3_errcode(database) != SQLITE_BUSY || Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// SQLite's own sizes are for larger databases: a connection begins with 20 pages of cache and 48 kB for small
// allocations, and touches every page of them. Private memory of the daemon once it has changed a setting: 884 kB, with
// the own sizes 1,248 kB.
void useLittleMemory()
{
    constexpr int kPages = 4;
    constexpr int kSlotSize = 256;  // bytes
    constexpr int kSlots = 32;
    static const bool done = sqlite3_config(SQLITE_CONFIG_PAGECACHE, nullptr, 0, kPages) == SQLITE_OK &&
                             sqlite3_config(SQLITE_CONFIG_LOOKASIDE, kSlotSize, kSlots) == SQLITE_OK;
    static_cast<void>(done);  // in a program that has used SQLite before it is too late, which does no harm
}

struct CloseWithoutLock {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
using OpeningDatabase = std::unique_ptr<sqlite3, CloseWithoutLock>;

struct Opening {
    OpeningDatabase database;  // null: it failed
    int error = 0;
    bool corrupt = false;
};

// Expects a StoreLock of either kind.
Opening tryToOpen(const std::string& path, const DatabaseFile& file)
{
    if (!makeFile(path)) {
        return {.database = nullptr, .error = errno};
    }
    useLittleMemory();
    sqlite3* opened = nullptr;
    sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    OpeningDatabase database(opened);
    if (!database) {
        return {.database = nullptr, .error = ENOMEM};
    }
    // A connection that closes last removes the -wal; that of a corrupt file is kept with it.
    sqlite3_db_config(opened, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_busy_timeout(opened, static_cast<int>(kWriterPatience.count()));
    // EXTRA for the switch of a new file: it makes a rollback journal, and should a power cut bring that back after its
    // removal, it would be played back over all that was stored since.
    const std::string durability = std::string("PRAGMA synchronous=") + file.durability;
    if (sqlite3_errcode(opened) != SQLITE_OK || !execute(opened, "PRAGMA synchronous=EXTRA") ||
        !switchToWriteAheadLog(opened) || !execute(opened, durability.c_str()) || !execute(opened, file.schema) ||
        !execute(opened, file.firstRead)) {
        const int reason = sqlite3_errcode(opened);
        return {.database = nullptr,
                .error = databaseError(opened),
                .corrupt = reason == SQLITE_CORRUPT || reason == SQLITE_NOTADB};
    }
    sqlite3_db_config(opened, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    return {.database = std::move(database)};
}

Opening replaceCorrupt(const std::string& directory, const std::string& path, const DatabaseFile& file)
{
    const StoreLock lock(directory, StoreLock::Kind::exclusive);
    if (!lock.held()) {
        return {.database = nullptr, .error = errno};
    }
    // Another program may have put a new file in its place meanwhile.
    Opening opening = tryToOpen(path, file);
    if (opening.corrupt && setAside(path)) {
        lock.sync();
        opening = tryToOpen(path, file);
    }
    return opening;
}

Opening openOrReplace(const std::string& directory, const DatabaseFile& file)
{
    const std::string path = directory + '/' + file.name;
    {
        const StoreLock lock(directory, StoreLock::Kind::shared);
        if (!lock.held()) {
            return {.database = nullptr, .error = errno};
        }
        Opening opening = tryToOpen(path, file);
        if (!opening.corrupt) {
            return opening;
        }
    }
    return replaceCorrupt(directory, path, file);
}

}  // namespace

void CloseDatabase::operator()(sqlite3* database) const
{
    const std::string path = sqlite3_db_filename(database, "main");
    const StoreLock lock(path.substr(0, path.rfind('/')), StoreLock::Kind::shared);
    sqlite3_close_v2(database);
}

Database openDatabase(const DatabaseFile& file)
{
    const std::string directory = storeDirectory();
    if (directory.empty()) {
        errno = EPROTONOSUPPORT;
        return nullptr;
    }
    return openDatabase(file, directory);
}

Database openDatabase(const DatabaseFile& file, const std::string& directory)
{
    if (!makeDirectories(directory)) {
        return nullptr;
    }
    Opening opening = openOrReplace(directory, file);
    if (!opening.database) {
        errno = opening.error;
    }
    return Database(opening.database.release());
}

bool hasMoved(sqlite3* database)
{
    int moved = 0;
    return sqlite3_file_control(database, "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK && moved != 0;
}

int databaseError(sqlite3* database)
{
    const int system = sqlite3_system_errno(database);
    switch (sqlite3_errcode(database) & 0xff) {
    case SQLITE_FULL: return ENOSPC;
    case SQLITE_READONLY: return EROFS;
    case SQLITE_BUSY:
    case SQLITE_LOCKED: return EBUSY;
    case SQLITE_PERM:
    case SQLITE_AUTH: return EACCES;
    case SQLITE_NOMEM: return ENOMEM;
    case SQLITE_TOOBIG: return EMSGSIZE;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB: return EUCLEAN;
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN: return system != 0 ? system : EIO;
    default: return EIO;
    }
}

void Statement::Finalize::operator()(sqlite3_stmt* statement) const
{
    sqlite3_finalize(statement);
}

bool Statement::prepare(sqlite3* database, const char* sql)
{
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK) {
        errno = databaseError(database);
        return false;
    }
    statement_.reset(prepared);
    return true;
}

void Statement::bind(int parameter, std::string_view text)
{
    sqlite3_bind_text64(statement_.get(), parameter, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

Statement::Step Statement::step()
{
    const int result = sqlite3_step(statement_.get());
    if (result == SQLITE_ROW) {
        return Step::row;
    }
    if (result == SQLITE_DONE) {
        return Step::done;
    }
    errno = databaseError(sqlite3_db_handle(statement_.get()));
    return Step::failed;
}

std::string_view Statement::column(int index) const
{
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), index));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), index));
    return text != nullptr ? std::string_view(text, size) : std::string_view();
}

void Statement::reset()
{
    const int kept = errno;
    sqlite3_reset(statement_.get());
    errno = kept;
}

bool Statement::run()
{
    const bool done = step() != Step::failed;
    reset();
    return done;
}

}  // namespace local
