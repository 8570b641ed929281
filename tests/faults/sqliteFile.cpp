#include "faults/sqliteFile.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sqlite3.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "support/waiting.h"

SqliteFile::SqliteFile(const std::string& path)
{
    if (sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        sqlite3_close(database_);
        throw std::runtime_error("cannot open " + path);
    }
    // An engine's thread may be at work at the log.
    sqlite3_busy_timeout(database_, static_cast<int>(std::chrono::milliseconds(kPatience).count()));
}

SqliteFile::~SqliteFile()
{
    sqlite3_close(database_);
}

std::vector<std::string> SqliteFile::run(const std::string& sql)
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
    if (sqlite3_exec(database_, sql.c_str(), collect, &rows, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sql + ": " + sqlite3_errmsg(database_));
    }
    return rows;
}

void SqliteFile::keepLog()
{
    sqlite3_db_config(database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

std::string bytesOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeBytes(const std::string& path, std::string_view bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

void overwrite(const std::string& path, std::size_t offset, std::string_view bytes)
{
    const pid_t child = ::fork();
    if (child == 0) {
        const int file = ::open(path.c_str(), O_WRONLY);
        const ssize_t written = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        ::_exit(written == static_cast<ssize_t>(bytes.size()) ? 0 : 1);
    }
    int status = 1;
    if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("cannot overwrite " + path);
    }
}

void loseHeader(const std::string& path)
{
    constexpr std::size_t kHeader = 100;
    SqliteFile(path).run("PRAGMA wal_checkpoint(TRUNCATE)");
    overwrite(path, 0, std::string(kHeader, '\xff'));
}

std::vector<std::string> setAsideIn(const std::string& directory)
{
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const std::string path = entry.path().string();
        if (path.find(".corrupt-") != std::string::npos && !path.ends_with("-wal") && !path.ends_with("-shm")) {
            paths.push_back(path);
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}
