#include "platform/local/committedState.h"

#include <bit>
#include <cstddef>
#include <cstdint>

#include <sqlite3.h>

namespace local {

namespace {

constexpr int kIndexRegion = 32'768;  // what SQLite maps at a time
constexpr std::size_t kHeaderWords = std::tuple_size_v<CommittedState::Mark>;

// The header's 32-bit fields.
struct Header {
    std::uint32_t version;
    std::uint32_t unused;
    std::uint32_t commits;     // counted up by one with each, from 0 again after a recovery
    std::uint8_t initialised;  // 1 once the header has been made
    std::uint8_t format[3];    // of checksums and pages
    std::uint32_t frames;      // in the log
    std::uint32_t pages;       // of the database
    std::uint32_t frameCheck[2];
    std::uint32_t salts[2];  // others each time the log begins anew
    std::uint32_t check[2];
};
static_assert(sizeof(Header) == sizeof(CommittedState::Mark));

// Other processes write here. To ThreadSanitizer SQLite's plain writes in this process would be races.
[[gnu::no_sanitize_thread]] void copyWords(const unsigned long* from, CommittedState::Mark& to)
{
    for (std::size_t i = 0; i < kHeaderWords; ++i) {
        to[i] = __atomic_load_n(from + i, __ATOMIC_ACQUIRE);
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
        header_ = static_cast<const unsigned long*>(const_cast<void*>(region));
    }
}

// Read in SQLite's own order: a writer writes the second copy, a barrier, then the first. Before and after the looks
// stand the reads of SQLite, which end and begin with a lock of the file.
bool CommittedState::look(Mark& mark) const
{
    if (header_ == nullptr) {
        return false;
    }
    Mark second;
    copyWords(header_, mark);
    copyWords(header_ + kHeaderWords, second);
    return mark == second && std::bit_cast<Header>(mark).initialised == 1;
}

bool CommittedState::isNext(const Mark& before, const Mark& now)
{
    const auto first = std::bit_cast<Header>(before);
    const auto second = std::bit_cast<Header>(now);
    return second.commits == first.commits + 1 && second.frames == first.frames + 1 &&
           second.salts[0] == first.salts[0] && second.salts[1] == first.salts[1];
}

}  // namespace local
