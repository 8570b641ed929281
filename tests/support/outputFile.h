// A file that collects what a program prints, and its reader.
#pragma once

#include <string>
#include <string_view>

#include "platform/support/ownership.h"

class OutputFile {
public:
    /// A file without a name, written at its end by whoever gets its descriptor. Throws std::system_error.
    OutputFile();

    [[nodiscard]] int fd() const { return fd_.get(); }
    [[nodiscard]] std::size_t size() const;
    /// What was printed from a place on.
    [[nodiscard]] std::string from(std::size_t offset) const;
    [[nodiscard]] bool holds(std::string_view text, std::size_t offset) const;

private:
    UniqueFd fd_;
};

/// Points standard output and error of this process at a file for its lifetime. Sanitizer reports still go where
/// standard error went.
class CapturedOutput {
public:
    explicit CapturedOutput(const OutputFile& file);
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

private:
    UniqueFd output_;
    UniqueFd error_;
};
