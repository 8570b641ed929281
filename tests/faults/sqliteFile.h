// A store's file as another program sees it: through SQLite, and as bytes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

class SqliteFile {
public:
    /// Throws std::runtime_error, as all of this does, when SQLite fails.
    explicit SqliteFile(const std::string& path);
    SqliteFile(const SqliteFile&) = delete;
    SqliteFile& operator=(const SqliteFile&) = delete;
    ~SqliteFile();

    /// Rows, their columns joined by '|'.
    std::vector<std::string> run(const std::string& sql);
    /// The -wal stays when the file is closed, as after a kill.
    void keepLog();

private:
    sqlite3* database_ = nullptr;
};

std::string bytesOf(const std::string& path);
void writeBytes(const std::string& path, std::string_view bytes);
/// In place and by another process: whoever has the file open has it still, with its locks.
void overwrite(const std::string& path, std::size_t offset, std::string_view bytes);
/// Makes a file corrupt that may be open somewhere; what stands in its -wal would hide the damage, and is moved before.
void loseHeader(const std::string& path);

/// The databases that were set aside in a directory, without their -wal and -shm.
std::vector<std::string> setAsideIn(const std::string& directory);
