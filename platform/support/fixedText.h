// A text in a buffer of fixed capacity: what does not fit is cut, it is always terminated, it never allocates.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "platform/support/formatText.h"

/// Capacity counts the terminating zero, as in `char buffer[Capacity]`.
template <std::size_t Capacity>
class FixedText {
    static_assert(Capacity > 0);

public:
    /// The longest text it holds.
    static constexpr std::size_t kMaxSize = Capacity - 1;

    FixedText() { buffer_[0] = '\0'; }

    /// Replaces the text. False when it was cut.
    [[gnu::format(printf, 2, 3)]] bool format(const char* format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        const bool whole = vformat(format, arguments);
        va_end(arguments);
        return whole;
    }

    [[gnu::format(printf, 2, 0)]] bool vformat(const char* format, va_list arguments)
    {
        const int wanted = formatText(buffer_, Capacity, format, arguments);
        if (wanted < 0) {
            clear();
            return false;
        }
        const auto length = static_cast<std::size_t>(wanted);
        size_ = length < Capacity ? length : Capacity - 1;
        return length < Capacity;
    }

    /// Appends as much as fits. False when it was cut.
    bool append(std::string_view text)
    {
        const std::size_t room = Capacity - 1 - size_;
        const std::size_t length = text.size() < room ? text.size() : room;
        if (length != 0) {
            std::memcpy(buffer_ + size_, text.data(), length);
        }
        size_ += length;
        buffer_[size_] = '\0';
        return length == text.size();
    }

    bool append(char character) { return append(std::string_view(&character, 1)); }

    /// Ends the text with a line feed unless it has one; in a full buffer the last character gives way to it.
    void endLine()
    {
        if (size_ != 0 && buffer_[size_ - 1] == '\n') {
            return;
        }
        if (!append('\n')) {
            buffer_[size_ - 1] = '\n';
        }
    }

    void clear()
    {
        size_ = 0;
        buffer_[0] = '\0';
    }

    [[nodiscard]] const char* c_str() const { return buffer_; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] std::string_view view() const { return {buffer_, size_}; }

private:
    char buffer_[Capacity];
    std::size_t size_ = 0;
};
