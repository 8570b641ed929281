// One row of the command table, and the signatures of what it calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// A value handed to a status reporter: an integer, a boolean (0 or 1) or a text.
class ReportValue {
public:
    static constexpr ReportValue integer(int number) { return {Kind::integer, number, nullptr}; }
    static constexpr ReportValue boolean(bool value) { return {Kind::boolean, value ? 1 : 0, nullptr}; }
    static constexpr ReportValue text(const char* text) { return {Kind::text, 0, text}; }

    /// The integer, or 0 and 1 of a boolean; 0 for a text.
    [[nodiscard]] constexpr int number() const { return number_; }
    /// The text; an empty one for a number.
    [[nodiscard]] constexpr const char* text() const { return text_ != nullptr ? text_ : ""; }
    [[nodiscard]] constexpr bool isText() const { return kind_ == Kind::text; }

private:
    enum class Kind { integer, boolean, text };
    constexpr ReportValue(Kind kind, int number, const char* text) : kind_(kind), number_(number), text_(text) {}

    Kind kind_;
    int number_;
    const char* text_;
};

/// Runs a command. `line` is the whole line without leading blanks, `name` the row's name, `args` what follows the name
/// (leading blanks skipped, never null). `fromEvent` is 0 for a console command; 1 is a call on behalf of an event:
/// publish also what is unchanged, send no reply. The result is 1 unless the handler says otherwise; nobody tests it.
using CommandHandler = int (*)(const char* line, const char* name, const char* args, int fromEvent,
                               const char* jsonTemplate);

/// Prints a row's value in reply form.
using StatusReporter = void (*)(const char* name, const ReportValue& value);

inline constexpr std::uint32_t kMatchLengthMask = 0xFF;
inline constexpr std::uint32_t kMarked = 0x100;            // carried as data; nothing here tests it
inline constexpr std::uint32_t kHiddenFromHelp = 0x10000;  // `help NAME` prints nothing

struct CommandEntry {
    const char* name;
    const char* help;
    const char* jsonTemplate;  // or the factory key; empty where the row has none
    CommandHandler handler;
    StatusReporter reporter;
    std::uint32_t flags;  // bits 0-7: how many bytes of a line are compared with the name

    [[nodiscard]] constexpr std::size_t matchLength() const { return flags & kMatchLengthMask; }
};

/// The whole command vocabulary, in matching order.
extern const std::span<const CommandEntry> kCommandTable;
