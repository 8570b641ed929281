#include "platform/local/ownCommit.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <mutex>

namespace local {

namespace {

std::mutex g_mutex;
std::array<OwnCommit, LeafMemory::kFollowed> g_told;
std::size_t g_next = 0;

}  // namespace

void tellCommit(const CommittedState::Mark& before, const CommittedState::Mark& after, std::string_view path,
                std::string_view text)
{
    if (path.size() > LeafMemory::kLongest || text.size() > LeafMemory::kLongest) {
        return;  // what stands leads from other states
    }
    const std::lock_guard<std::mutex> lock(g_mutex);
    OwnCommit& commit = g_told[g_next];
    g_next = (g_next + 1) % g_told.size();
    commit.before = before;
    commit.after = after;
    commit.path.clear();
    commit.path.append(path);
    commit.text.clear();
    commit.text.append(text);
}

std::optional<OwnCommit> commitAfter(const CommittedState::Mark& state)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    const auto* found =
        std::find_if(g_told.begin(), g_told.end(), [&](const OwnCommit& commit) { return commit.before == state; });
    return found != g_told.end() ? std::optional(*found) : std::nullopt;
}

}  // namespace local
