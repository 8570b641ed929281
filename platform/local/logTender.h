// Work on a store's write-ahead log that no command waits for: a thread of the engine copies the log into the database
// (a checkpoint), so that it begins anew, and writes it out to its full length once. It has a connection of its own,
// holds no lock of the program while it works, takes no signals and ends with its work; none is there meanwhile.
//
// A commit that makes the log longer has fdatasync(2) write the file's new size as well. Measured on ext4: 109 us where
// the log is grown, 190 us where it grows.
#pragma once

#include <string>

#include "platform/local/database.h"

namespace local {

class LogTender {
public:
    /// Follows the commits of a connection, in place of SQLite's own checkpoints, which whoever commits would wait for.
    void watch(sqlite3* database, const DatabaseFile& file);

    /// To be called after every commit. Has the work begun where there is some; one thread of the process at a time.
    void tend();

    LogTender() = default;
    LogTender(const LogTender&) = delete;
    LogTender& operator=(const LogTender&) = delete;
    /// Waits for the work in progress, so that a program that ends has it done.
    ~LogTender();

private:
    [[nodiscard]] bool isShort() const;

    sqlite3* database_ = nullptr;
    const DatabaseFile* file_ = nullptr;
    int frames_ = 0;   // pages in the log
    int commits_ = 0;  // not counted beyond the second
    bool grownOrTried_ = false;
};

}  // namespace local
