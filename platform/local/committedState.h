// Whether anything has been committed to a database since a given moment, by this process or another, told by a look
// into memory. SQLite keeps the state of the last commit in the first bytes of the -shm file, which every connection
// has mapped (sqlite.org/walformat.html, "The WAL-Index Header"), and trusts its own page cache by it: as long as these
// bytes do not change, what was read before is still what a new transaction would read.
#pragma once

#include <array>

struct sqlite3;

namespace local {

class CommittedState {
public:
    /// The 48 bytes of the header.
    using Mark = std::array<unsigned long, 48 / sizeof(unsigned long)>;

    /// Expects a database in WAL mode that has been read from. Lives no longer than the connection. Where the index is
    /// not in shared memory, as of a file that cannot be written, nothing can be told ever.
    void watch(sqlite3* database);

    /// False when the state cannot be told: a commit is just being published, or was cut short.
    bool look(Mark& mark) const;

    /// Whether exactly one commit of one page lies between the two: that of the caller, when it knows of one.
    static bool isNext(const Mark& before, const Mark& now);

private:
    const unsigned long* header_ = nullptr;
};

}  // namespace local
