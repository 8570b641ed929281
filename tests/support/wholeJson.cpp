#include "support/wholeJson.h"

#include <algorithm>

namespace {

// RFC 8259, with bytes that are no UTF-8 taken as they are. Allocates nothing, so that millions of documents can be
// looked at.
class JsonReader {
public:
    explicit JsonReader(std::string_view text) : rest_(text) {}

    [[nodiscard]] bool atEnd() const { return rest_.empty(); }

    bool value()
    {
        const bool good = take('{')   ? members()
                          : take('[') ? entries()
                          : take('"') ? restOfText()
                                      : word("true") || word("false") || word("null") || number();
        skipSpace();
        return good;
    }

private:
    void skipSpace() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }

    bool take(char character)
    {
        skipSpace();
        return next(character);
    }

    bool next(char character)
    {
        const bool found = rest_.starts_with(character);
        rest_.remove_prefix(found ? 1 : 0);
        return found;
    }

    bool word(std::string_view text)
    {
        const bool found = rest_.starts_with(text);
        rest_.remove_prefix(found ? text.size() : 0);
        return found;
    }

    bool members()
    {
        if (take('}')) {
            return true;
        }
        do {
            if (!take('"') || !restOfText() || !take(':') || !value()) {
                return false;
            }
        } while (take(','));
        return take('}');
    }

    bool entries()
    {
        if (take(']')) {
            return true;
        }
        do {
            if (!value()) {
                return false;
            }
        } while (take(','));
        return take(']');
    }

    bool restOfText()
    {
        while (!rest_.empty()) {
            const auto code = static_cast<unsigned char>(rest_.front());
            rest_.remove_prefix(1);
            if (code == '"') {
                return true;
            }
            if (code < 0x20 || (code == '\\' && !escape())) {
                return false;
            }
        }
        return false;
    }

    bool escape()
    {
        constexpr std::string_view kHex = "0123456789abcdefABCDEF";
        if (next('u')) {
            const std::string_view digits = rest_.substr(0, 4);
            rest_.remove_prefix(digits.size());
            return digits.size() == 4 && digits.find_first_not_of(kHex) == std::string_view::npos;
        }
        const bool known =
            !rest_.empty() && std::string_view("\"\\/bfnrt").find(rest_.front()) != std::string_view::npos;
        rest_.remove_prefix(known ? 1 : 0);
        return known;
    }

    bool digits()
    {
        const std::size_t count = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
        rest_.remove_prefix(count);
        return count > 0;
    }

    bool number()
    {
        next('-');
        if (!next('0') && !digits()) {
            return false;
        }
        if (next('.') && !digits()) {
            return false;
        }
        if (next('e') || next('E')) {
            if (!next('-')) {
                next('+');
            }
            return digits();
        }
        return true;
    }

    std::string_view rest_;
};

}  // namespace

bool isJson(std::string_view text)
{
    JsonReader reader(text);
    return reader.value() && reader.atEnd();
}
