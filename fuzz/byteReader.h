// Takes a fuzzer's input apart from front to back. Past the end there are only zeros and empty texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class ByteReader {
public:
    ByteReader(const std::uint8_t* bytes, std::size_t size) : rest_(reinterpret_cast<const char*>(bytes), size) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    [[nodiscard]] char peek() const { return rest_.empty() ? '\0' : rest_.front(); }

    char next()
    {
        const char byte = peek();
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return byte;
    }

    /// A number below `bound` (at most 94): digits and letters of a hand-made input count up from '!'.
    std::size_t below(std::size_t bound) { return (static_cast<unsigned char>(next()) + 256U - '!') % bound; }

    /// The bytes before the next zero byte, which is taken too.
    std::string text()
    {
        const std::size_t end = rest_.find('\0');
        std::string piece(rest_.substr(0, end));
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        return piece;
    }

    std::string_view takeRest()
    {
        const std::string_view all = rest_;
        rest_ = {};
        return all;
    }

private:
    std::string_view rest_;
};
