// The latest commits of this process that gave one small leaf another value each, told to its other threads: each
// change is followed by an event, whose thread would find its own memory of the store worthless and read everything
// anew. Together with the tick of StoreConnection it takes a command that changes a setting from 137 to 124 us, on a
// disk in memory. Kept once for all stores: the states of two never agree, each holding 64 random bits.
#pragma once

#include <optional>
#include <string_view>

#include "platform/local/committedState.h"
#include "platform/local/leafMemory.h"
#include "platform/support/fixedText.h"

namespace local {

struct OwnCommit {
    CommittedState::Mark before{};
    CommittedState::Mark after{};
    FixedText<LeafMemory::kLongest + 1> path;
    FixedText<LeafMemory::kLongest + 1> text;
};

/// Nothing else lies between the two states. Longer texts than LeafMemory keeps are told to nobody.
void tellCommit(const CommittedState::Mark& before, const CommittedState::Mark& after, std::string_view path,
                std::string_view text);

/// The commit that was made on that state.
std::optional<OwnCommit> commitAfter(const CommittedState::Mark& state);

}  // namespace local
