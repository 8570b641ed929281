#include "bench/notes.h"

#include <unistd.h>

namespace {

void writeError(const std::string& text)
{
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
