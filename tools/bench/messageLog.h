// What a daemon has printed: its log file, read while it grows.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

class MessageLog {
public:
    explicit MessageLog(std::filesystem::path file) : file_(std::move(file)) {}

    [[nodiscard]] const std::filesystem::path& file() const { return file_; }
    [[nodiscard]] std::size_t size() const;
    /// What was printed from a place on.
    [[nodiscard]] std::string from(std::size_t start) const;
    [[nodiscard]] bool holds(std::string_view text, std::size_t start) const;

private:
    std::filesystem::path file_;
};
