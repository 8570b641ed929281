#include "platform/support/formatText.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

// A bounded output that counts what did not fit.
class Output {
public:
    Output(char* out, std::size_t capacity) : at_(out), room_(capacity > 0 ? capacity - 1 : 0) {}

    void put(std::string_view text)
    {
        wanted_ += text.size();
        const std::size_t length = text.size() < room_ ? text.size() : room_;
        std::memcpy(at_, text.data(), length);
        at_ += length;
        room_ -= length;
    }

    template <class Number>
    void putNumber(Number number)
    {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, number);
        put({digits, static_cast<std::size_t>(end.ptr - digits)});
    }

    int end(std::size_t capacity)
    {
        if (capacity > 0) {
            *at_ = '\0';
        }
        return static_cast<int>(wanted_);
    }

private:
    char* at_;
    std::size_t room_;
    std::size_t wanted_ = 0;
};

std::size_t literalLength(const char* format)
{
    const char* percent = std::strchr(format, '%');
    return percent != nullptr ? static_cast<std::size_t>(percent - format) : std::strlen(format);
}

// False at a conversion that is not plain.
bool putPlain(Output& output, const char* format, va_list arguments)
{
    while (true) {
        const std::size_t literal = literalLength(format);
        output.put({format, literal});
        format += literal;
        if (*format == '\0') {
            return true;
        }
        switch (format[1]) {
        case 's': {
            const char* text = va_arg(arguments, const char*);
            if (text == nullptr) {
                return false;
            }
            output.put(text);
            break;
        }
        case 'd': output.putNumber(va_arg(arguments, int)); break;
        case 'c': {
            const auto character = static_cast<char>(va_arg(arguments, int));
            output.put({&character, 1});
            break;
        }
        case 'z':
            if (format[2] != 'u') {
                return false;
            }
            output.putNumber(va_arg(arguments, std::size_t));
            ++format;
            break;
        case '%': output.put("%"); break;
        default: return false;
        }
        format += 2;
    }
}

}  // namespace

int formatText(char* out, std::size_t capacity, const char* format, va_list arguments)
{
    Output output(out, capacity);
    va_list read;
    va_copy(read, arguments);
    const bool plain = putPlain(output, format, read);
    va_end(read);
    return plain ? output.end(capacity) : std::vsnprintf(out, capacity, format, arguments);
}
