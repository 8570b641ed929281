#include "bench/notes.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "support/failure.h"

namespace {

EditedLine* g_editedLine = nullptr;

/// Keeps the edited line out of the way of what goes to this descriptor.
class OutOfTheWay {
public:
    OutOfTheWay(int fd, std::string_view text)
        : line_(g_editedLine != nullptr && isatty(fd) != 0 ? g_editedLine : nullptr), lineEnded_(text.ends_with('\n'))
    {
        if (line_ != nullptr) {
            line_->hide();
        }
    }
    OutOfTheWay(const OutOfTheWay&) = delete;
    OutOfTheWay& operator=(const OutOfTheWay&) = delete;
    ~OutOfTheWay()
    {
        if (line_ != nullptr) {
            line_->show(lineEnded_);
        }
    }

private:
    EditedLine* line_;
    bool lineEnded_;
};

void writeError(const std::string& text)
{
    const OutOfTheWay guard(STDERR_FILENO, text);
    // Nobody is left to be told that standard error cannot be written.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

void note(std::string_view line)
{
    writeError(std::string(line) + "\n");
}

void noteFrom(std::string_view source, std::string_view line)
{
    writeError("[" + std::string(source) + "] " + std::string(line) + "\n");
}

void writeReplies(std::string_view bytes)
{
    const OutOfTheWay guard(STDOUT_FILENO, bytes);
    while (!bytes.empty()) {
        const auto count = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            throw Refused(std::string("standard output cannot be written: ") + std::strerror(errno));
        }
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

void setEditedLine(EditedLine* line)
{
    g_editedLine = line;
}
