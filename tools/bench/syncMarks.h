// Marks by which the bench learns that a daemon's listener has reacted to all earlier events: a mark published as text
// for the port comes out of the port, in its turn. They are taken out of the bytes that anybody gets to see.
#pragma once

#include <string>
#include <string_view>

class SyncMarks {
public:
    /// The text of the mark with this number.
    static std::string text(int number);

    /// The mark of this number, higher than any before, is under way.
    void expect(int number) { expected_ = number; }
    /// Whether the last mark expected has come out.
    [[nodiscard]] bool arrived() const { return seen_ == expected_; }
    /// The highest number that has come out, 0 for none.
    [[nodiscard]] int seen() const { return seen_; }

    /// The bytes without the marks in them. While one is under way, the start of what may be it is held back.
    std::string strip(std::string_view bytes);

private:
    std::string held_;
    int expected_ = 0;
    int seen_ = 0;
};
