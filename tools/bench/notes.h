// What the bench has to say, on standard error: standard output holds the replies alone. On the thread that runs the
// bench; each note is one write, so that notes do not run into each other.
#pragma once

#include <string>
#include <string_view>

void note(std::string_view line);

/// "[networkd] TelnetRestart "9001"": what reached one of the bench's stand-ins.
void noteFrom(std::string_view source, std::string_view line);

/// Standard output takes the replies. Throws Refused when it is gone.
void writeReplies(std::string_view bytes);

/// A line under edit, which has to be out of the way while anything else is written to its terminal.
class EditedLine {
public:
    virtual ~EditedLine() = default;
    virtual void hide() = 0;
    /// What was written has ended its line, or not.
    virtual void show(bool lineEnded) = 0;
};

/// The one line under edit, or none; it lives until none is set.
void setEditedLine(EditedLine* line);
