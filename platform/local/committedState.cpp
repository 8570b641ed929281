#include "platform/local/committedState.h"

#include <cstddef>

#include <sqlite3.h>

namespace local {

namespace {

constexpr int kIndexRegion = 32'768;  // what SQLite maps at a time
constexpr std::size_t kHeaderWords = std::tuple_size_v<CommittedState::Mark>;
// The fourth 32-bit word: its first byte is 1 once the header has been made.
constexpr std::size_t kInitialisedByte = 12;

// Other processes write here. To ThreadSanitizer SQLite's plain writes in this process would be races.
[[gnu::no_sanitize_thread]] void copyWords(const std::uint64_t* from, CommittedState::Mark& to)
{
    for (std::size_t i = 0; i < kHeaderWords; ++i) {
        to[i] = __atomic_load_n(from + i, __ATOMIC_RELAXED);
    }
}

}  // namespace

// The mapping is asked of the connection itself: a descriptor of our own would, when closed, drop the locks that
// SQLite holds on the file (fcntl(2)).
void CommittedState::watch(sqlite3* database)
{
    header_ = nullptr;
    sqlite3_file* file = nullptr;
    if (sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || file == nullptr ||
        file->pMethods == nullptr || file->pMethods->iVersion < 2) {
        return;
    }
    void volatile* region = nullptr;
    if (file->pMethods->xShmMap(file, 0, kIndexRegion, 0, &region) == SQLITE_OK) {
        header_ = static_cast<const std::uint64_t*>(const_cast<void*>(region));
    }
}

// Read in SQLite's own order: a writer writes the second copy, a barrier, then the first.
bool CommittedState::look(Mark& mark) const
{
    if (header_ == nullptr) {
        return false;
    }
    Mark second;
    copyWords(header_, mark);
    __atomic_thread_fence(__ATOMIC_SEQ_CST);
    copyWords(header_ + kHeaderWords, second);
    __atomic_thread_fence(__ATOMIC_SEQ_CST);
    return mark == second && reinterpret_cast<const unsigned char*>(mark.data())[kInitialisedByte] == 1;
}

}  // namespace local
