// One serial port of the receiver: a pseudo-terminal whose far side the daemon opens like any serial device. The bench
// keeps the far side open as well, so that the port does not hang up when the daemon opens it anew.
#pragma once

#include <string>
#include <string_view>

#include "platform/support/ownership.h"

class PseudoTerminal {
public:
    /// Throws Refused.
    PseudoTerminal();

    /// The device that the daemon opens.
    [[nodiscard]] const std::string& device() const { return device_; }
    /// Readable when the daemon has written something.
    [[nodiscard]] int descriptor() const { return near_.get(); }

    /// What the daemon has written by now.
    std::string read() const;
    /// Writes as much as the port takes now. The number of bytes.
    std::size_t write(std::string_view bytes) const;
    /// Whether the daemon has read all that was written.
    [[nodiscard]] bool consumed() const;

private:
    std::string device_;
    UniqueFd near_;
    UniqueFd far_;
};
