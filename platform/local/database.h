// One SQLite file of the store directory, opened by one thread and used by it alone.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace local {

/// Writers wait for each other this long.
inline constexpr std::chrono::milliseconds kWriterPatience{5'000};

struct CloseDatabase {
    void operator()(sqlite3* database) const;
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct DatabaseFile {
    const char* name;        ///< in the store directory
    const char* schema;      ///< one CREATE TABLE IF NOT EXISTS
    const char* durability;  ///< the synchronous pragma
    const char* firstRead;   ///< one SELECT of a row, whose failure shows a damaged file
    bool keptGrown = false;  ///< its write-ahead log is kept at a length that most commits do not change
};

/// Makes the directory, the file and its table where they are missing. A file that SQLite finds corrupt while it opens
/// it is set aside for a new one; nothing looks for other damage, and no other failure counts. Null with errno set.
Database openDatabase(const DatabaseFile& file);
/// The same in a directory that need not be the one PLATFORM names by now.
Database openDatabase(const DatabaseFile& file, const std::string& directory);

/// Another file stands at the path by now, or none: what is opened is no longer the store.
bool hasMoved(sqlite3* database);

/// The system error that tells best why the last call failed.
int databaseError(sqlite3* database);

/// A statement prepared once and run often. Text bound is borrowed until the statement is reset.
class Statement {
public:
    enum class Step { row, done, failed };

    /// False with errno set.
    bool prepare(sqlite3* database, const char* sql);

    void bind(int parameter, std::string_view text);
    /// On failure errno is set.
    Step step();
    /// Of the row that stands; lives until the next step or reset.
    [[nodiscard]] std::string_view column(int index) const;
    /// Ends the read transaction of a statement; to be called after every use.
    void reset();
    /// One step and a reset, for a statement without rows of interest. False with errno set.
    bool run();

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// Resets a statement at the end of a scope, so that no reader keeps an old snapshot.
class StatementUse {
public:
    explicit StatementUse(Statement& statement) : statement_(statement) {}
    StatementUse(const StatementUse&) = delete;
    StatementUse& operator=(const StatementUse&) = delete;
    ~StatementUse() { statement_.reset(); }

private:
    Statement& statement_;
};

}  // namespace local
