#include "platform/local/ownCommit.h"

#include <mutex>

namespace local {

namespace {

std::mutex g_mutex;
OwnCommit g_last;

}  // namespace

void OwnCommit::tell(const CommittedState::Mark& before, const CommittedState::Mark& after, std::string_view path,
                     std::string_view text)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (path.size() > kLongest || text.size() > kLongest) {
        return;  // what stands leads from another state
    }
    g_last.before_ = before;
    g_last.after_ = after;
    g_last.pathSize_ = path.copy(g_last.path_, kLongest);
    g_last.textSize_ = text.copy(g_last.text_, kLongest);
}

bool OwnCommit::find(const CommittedState::Mark& before, const CommittedState::Mark& after)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_last.before_ != before || g_last.after_ != after) {
        return false;
    }
    *this = g_last;
    return true;
}

}  // namespace local
