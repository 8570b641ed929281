#include "platform/local/ownCommit.h"

#include <mutex>

namespace local {

namespace {

std::mutex g_mutex;
OwnCommit g_last;

}  // namespace

void tellCommit(const CommittedState::Mark& before, const CommittedState::Mark& after, std::string_view path,
                std::string_view text)
{
    if (path.size() > LeafMemory::kLongest || text.size() > LeafMemory::kLongest) {
        return;  // what stands leads from another state
    }
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_last.before = before;
    g_last.after = after;
    g_last.path.clear();
    g_last.path.append(path);
    g_last.text.clear();
    g_last.text.append(text);
}

std::optional<OwnCommit> findCommit(const CommittedState::Mark& before, const CommittedState::Mark& after)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_last.before != before || g_last.after != after) {
        return std::nullopt;
    }
    return g_last;
}

}  // namespace local
