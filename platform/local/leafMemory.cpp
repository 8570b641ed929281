#include "platform/local/leafMemory.h"

#include <functional>

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
        seen_ = mark;
        ++generation_;
    }
    return sure_;
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
    const std::uint64_t before = generation_;
    if (!sure_ || path.size() > kLongest || leaf.text.size() > kLongest || !look() || generation_ != before) {
        return;
    }
    Slot& slot = slotOf(path);
    slot.generation = before;
    slot.pathSize = static_cast<std::uint8_t>(path.size());
    slot.textSize = static_cast<std::uint8_t>(leaf.text.size());
    slot.exists = leaf.exists;
    path.copy(slot.path, kLongest);
    leaf.text.copy(slot.text, kLongest);
}

}  // namespace local
