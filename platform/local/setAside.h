// A corrupt database makes room for a new one.
#pragma once

#include <string>

namespace local {

/// Gives the file, with its -wal and -shm, a name of its own beside it, as in settings.db.corrupt-20250131T235959, and
/// reports that in one line. Expects the exclusive StoreLock of the directory. False with errno set when the file
/// cannot be renamed.
bool setAside(const std::string& path);

}  // namespace local
