// receiver-bench under test, in a directory of its own.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "program.h"

inline const std::string kPrograms = TOOLS_DIRECTORY;
inline const std::string kBench = kPrograms + "/receiver-bench";

std::string contents(const std::string& file);
std::vector<std::string> linesOf(const std::string& text);
/// The number of lines that are exactly this.
std::ptrdiff_t countLines(const std::string& text, const std::string& line);

class Bench : public testing::Test {
protected:
    using Words = std::vector<std::string>;

    [[nodiscard]] const std::string& directory() const { return directory_.path(); }
    [[nodiscard]] Words command(const Words& options = {}) const;

    Result feed(std::string_view script, const Words& options = {}) const;

    /// At a terminal that edits its lines itself, once a line can be typed.
    [[nodiscard]] std::unique_ptr<Program> atTerminal() const;

    /// For programs that are to reach the running bench.
    [[nodiscard]] Environment reach() const;
    [[nodiscard]] Result platformctl(Words words) const;

    /// Nothing that the bench started runs, and what only makes sense while it runs is gone.
    void expectAllGone() const;

    TemporaryDirectory directory_;
};
