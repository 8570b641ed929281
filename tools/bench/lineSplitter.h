// Lines out of chunks of bytes. A line is ended by CR, LF or CR LF, the last one perhaps by nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>

class LineSplitter {
public:
    void add(std::string_view bytes) { pending_ += bytes; }

    /// The next whole line, without its end.
    std::optional<std::string> next();
    /// What is left when the input has ended.
    std::optional<std::string> last();

private:
    std::string pending_;
    bool afterReturn_ = false;
};
