// A disk that may lose what was written to it and not synced: SQLite's default file system of this process, with a
// record of what reaches the files. From the record the files are made as a power cut could have left them.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

class UnsyncedDisk {
public:
    using Random = std::mt19937_64;

    /// Before the first database of the process is opened; from then on it empties the record.
    static UnsyncedDisk& install();

    /// What is written from now on counts.
    void record(bool on);
    [[nodiscard]] std::size_t size() const;

    /// Makes the files in a directory as they may be after a cut behind the first `count` operations. What was synced
    /// is there; of the rest each write is there, or not, or its first sectors are. Nothing is recorded meanwhile.
    void makeFiles(const std::string& directory, std::size_t count, Random& random) const;

    // For the file system's functions.
    enum class Kind { write, truncate, remove, sync };
    struct Operation {
        Kind kind;
        std::string name{};  // without its directory
        std::int64_t offset = 0;
        std::string bytes{};
    };
    /// Does and notes one operation, which returns 0 when it is done. A store's log is tended in a thread of its own:
    /// the record has the order in which the threads' operations were done.
    int perform(Operation operation, const std::function<int()>& work);

private:
    UnsyncedDisk() = default;

    mutable std::mutex mutex_;
    bool recording_ = false;
    std::vector<Operation> operations_;
};
