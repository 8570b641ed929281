#include "platform/local/leafMemory.h"

#include <functional>

#include "platform/local/ownCommit.h"

namespace local {

LeafMemory::Slot& LeafMemory::slotOf(std::string_view path)
{
    return slots_[std::hash<std::string_view>{}(path) & (kSlots - 1)];
}

bool LeafMemory::look()
{
    CommittedState::Mark mark;
    sure_ = state_.look(mark);
    if (sure_ && (mark != seen_ || generation_ == 0)) {
        if (generation_ == 0 || !follow(mark)) {
            ++generation_;
        }
        seen_ = mark;
    }
    return sure_;
}

bool LeafMemory::follow(const CommittedState::Mark& now)
{
    CommittedState::Mark at = seen_;
    for (int steps = 0; at != now; ++steps) {
        const auto commit = steps < kFollowed ? commitAfter(at) : std::nullopt;
        if (!commit) {
            return false;  // what was kept on the way is forgotten with all else
        }
        keep(commit->path.view(), {.exists = true, .text = commit->text.view()});
        at = commit->after;
    }
    return true;
}

const LeafMemory::Leaf* LeafMemory::recall(std::string_view path)
{
    if (!look()) {
        return nullptr;
    }
    const Slot& slot = slotOf(path);
    if (slot.generation != generation_ || std::string_view(slot.path, slot.pathSize) != path) {
        return nullptr;
    }
    recalled_ = {.exists = slot.exists, .text = {slot.text, slot.textSize}};
    return &recalled_;
}

// The same state before and after the read is the state that was read.
void LeafMemory::remember(std::string_view path, const Leaf& leaf)
{
    const CommittedState::Mark before = seen_;
    if (sure_ && look() && seen_ == before) {
        keep(path, leaf);
    }
}

void LeafMemory::replaced(std::string_view path, std::string_view text)
{
    CommittedState::Mark now;
    if (sure_ && state_.look(now) && CommittedState::isNext(seen_, now)) {
        tellCommit(seen_, now, path, text);
        seen_ = now;
        keep(path, {.exists = true, .text = text});
    }
}

void LeafMemory::keep(std::string_view path, const Leaf& leaf)
{
    Slot& slot = slotOf(path);
    if (path.size() > kLongest || leaf.text.size() > kLongest) {
        slot.generation = 0;  // what stands there may be of this path
        return;
    }
    slot.generation = generation_;
    slot.pathSize = static_cast<std::uint8_t>(path.size());
    slot.textSize = static_cast<std::uint8_t>(leaf.text.size());
    slot.exists = leaf.exists;
    path.copy(slot.path, kLongest);
    leaf.text.copy(slot.text, kLongest);
}

}  // namespace local
