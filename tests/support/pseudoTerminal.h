// A pseudo-terminal as the serial line of a daemon: the test holds the far end.
#pragma once

#include <string>
#include <string_view>

#include "platform/support/ownership.h"

class PseudoTerminal {
public:
    /// Throws std::system_error.
    PseudoTerminal();

    /// The device a daemon opens.
    [[nodiscard]] const std::string& device() const { return device_; }
    /// The daemon's end, held open so that the line outlives a daemon that reopens it.
    [[nodiscard]] int deviceFd() const { return slave_.get(); }
    [[nodiscard]] int fd() const { return master_.get(); }

    /// Sends bytes to the daemon; what it writes meanwhile is kept. Throws when it does not read for 20 s.
    void type(std::string_view bytes);
    /// True when the daemon has read everything that was typed. poll(2) on a terminal first hands over what is still
    /// on its way, so that nothing is missed.
    [[nodiscard]] bool allRead() const;
    void waitUntilAllRead() const;
    /// All that the daemon has written up to now.
    std::string takeOutput();
    /// Waits until the output holds `text`, and takes it all. Throws after 20 s, with what came instead.
    std::string takeOutputWith(std::string_view text);
    /// Closes the far end: the line is gone.
    void hangUp() { master_.reset(); }

private:
    void readAvailable();

    UniqueFd master_;
    UniqueFd slave_;
    std::string device_;
    std::string output_;
};
