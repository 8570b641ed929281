// The last commit of this process that gave one small leaf another value, told to its other threads: each change is
// followed by an event, whose thread would find its own memory of the store worthless and read everything anew.
// Together with the tick of StoreConnection it takes a command that changes a setting from 137 to 124 us, on a disk in
// memory.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/local/committedState.h"

namespace local {

class OwnCommit {
public:
    /// Of paths and values in bytes; longer ones are told as nothing.
    static constexpr std::size_t kLongest = 64;

    /// Nothing else lies between the two states.
    static void tell(const CommittedState::Mark& before, const CommittedState::Mark& after, std::string_view path,
                     std::string_view text);

    /// Whether exactly that commit lies between the two states.
    bool find(const CommittedState::Mark& before, const CommittedState::Mark& after);

    [[nodiscard]] std::string_view path() const { return {path_, pathSize_}; }
    [[nodiscard]] std::string_view text() const { return {text_, textSize_}; }

private:
    CommittedState::Mark before_{};
    CommittedState::Mark after_{};
    std::size_t pathSize_ = 0;
    std::size_t textSize_ = 0;
    char path_[kLongest];
    char text_[kLongest];
};

}  // namespace local
