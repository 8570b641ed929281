// RS232zone texts: lines for the display's RS-232 port. They are collected until the next quiet gap and then forwarded
// to "displayControl" as hex. Loop thread only.
#pragma once

#include <cstddef>

#include "platform/support/fixedText.h"

/// A payload with its brackets; more is refused.
inline constexpr std::size_t kBracketCapacity = 80;

class Rs232zone {
public:
    /// Takes the line if it begins an RS232zone text, belongs to one that is pending, or only pretends to be one.
    /// `terminator` is CR or LF.
    bool takeLine(const char* line, std::size_t length, char terminator);

    [[nodiscard]] bool pending() const { return pending_; }

    /// Quiet-gap work on the pending text: forwards and echoes it, refuses it, or drops it when it was a fake.
    /// Called without the record's mutex: the forwarding call may take its time.
    void finish();

private:
    void collect(const char* line, std::size_t length, char terminator);
    void answer(std::size_t n) const;

    bool fake_ = false;
    bool pending_ = false;
    FixedText<256> text_;  // keeps its first 255 bytes
};
