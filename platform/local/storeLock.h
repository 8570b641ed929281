// Keeps the openings and closings of a store directory's databases apart from the moment in which a corrupt one is set
// aside: SQLite opens and removes -wal and -shm by name, and must not meet those of the next file. A flock(2) on the
// directory itself, so that nothing is left behind and a read-only directory can be locked too.
#pragma once

#include <string>

#include "platform/support/ownership.h"

namespace local {

class StoreLock {
public:
    enum class Kind { shared, exclusive };

    /// Waits as long as a writer waits for another.
    StoreLock(const std::string& directory, Kind kind);

    /// False when others held it all the time: then errno is EBUSY. A directory that cannot be locked at all counts as
    /// held.
    [[nodiscard]] bool held() const { return held_; }
    /// Has a renaming in the directory survive a power cut.
    void sync() const;

private:
    UniqueFd directory_;
    bool held_ = true;
};

}  // namespace local
