#include "platform/support/jsonTemplate.h"

#include <charconv>
#include <cstdio>
#include <cstring>

namespace detail {

namespace {

// A bounded output that remembers whether everything fitted.
class Sink {
public:
    Sink(char* out, std::size_t capacity) : out_(out), capacity_(capacity) { out_[0] = '\0'; }

    void put(std::string_view piece)
    {
        const std::size_t room = capacity_ - 1 - size_;
        const std::size_t length = piece.size() < room ? piece.size() : room;
        whole_ = whole_ && length == piece.size();
        std::memcpy(out_ + size_, piece.data(), length);
        size_ += length;
        out_[size_] = '\0';
    }

    void put(char character) { put(std::string_view(&character, 1)); }

    [[nodiscard]] bool whole() const { return whole_; }

private:
    char* out_;
    std::size_t capacity_;
    std::size_t size_ = 0;
    bool whole_ = true;
};

// The escapes of RFC 8259 section 7; short forms where there is one, else \u00XX.
void putEscaped(Sink& sink, std::string_view text)
{
    constexpr char kHex[] = "0123456789abcdef";
    for (const char character : text) {
        switch (character) {
        case '\b': sink.put("\\b"); break;
        case '\n': sink.put("\\n"); break;
        case '\r': sink.put("\\r"); break;
        case '\t': sink.put("\\t"); break;
        case '\f': sink.put("\\f"); break;
        case '"': sink.put("\\\""); break;
        case '\\': sink.put("\\\\"); break;
        default: {
            const auto code = static_cast<unsigned char>(character);
            if (code < 0x20) {
                sink.put("\\u00");
                sink.put(kHex[code >> 4]);
                sink.put(kHex[code & 0xF]);
            } else {
                sink.put(character);
            }
        }
        }
    }
}

void putInteger(Sink& sink, int number)
{
    char digits[12];
    const auto end = std::to_chars(digits, digits + sizeof digits, number);
    sink.put(std::string_view(digits, static_cast<std::size_t>(end.ptr - digits)));
}

void putLeaf(Sink& sink, const Leaf& leaf)
{
    switch (leaf.kind()) {
    case Leaf::Kind::boolean: sink.put(leaf.number() != 0 ? "true" : "false"); break;
    case Leaf::Kind::integer: putInteger(sink, leaf.number()); break;
    case Leaf::Kind::real: {
        FixedText<32> digits;
        digits.format("%f", leaf.real());
        sink.put(digits.view());
        break;
    }
    case Leaf::Kind::text: putEscaped(sink, leaf.text()); break;
    }
}

}  // namespace

bool fillTemplate(char* out, std::size_t capacity, const char* jsonTemplate, const Leaf* leaves, std::size_t count)
{
    Sink sink(out, capacity);
    std::size_t next = 0;
    std::string_view rest(jsonTemplate);
    while (next < count) {
        const std::size_t place = rest.find('%');
        if (place == std::string_view::npos || place + 1 == rest.size()) {
            break;
        }
        sink.put(rest.substr(0, place));
        putLeaf(sink, leaves[next++]);
        rest.remove_prefix(place + 2);
    }
    sink.put(rest);
    return sink.whole();
}

}  // namespace detail
