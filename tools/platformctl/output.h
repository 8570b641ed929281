// Standard output of a tool whose lines others read as they come.
#pragma once

#include <string_view>

#include "platform/jsonToken.h"
#include "platform/support/ownership.h"

/// Standard output of a program that ends when it is told to, also while nobody reads what it prints.
class LineOutput {
public:
    /// stopFd is readable once the program is to end; below zero, it never is.
    explicit LineOutput(int stopFd);

    /// Writes a line and its end. Gives up, perhaps within the line, when it would have to wait and stopFd is readable.
    /// Throws Refused when standard output cannot be written.
    void print(std::string_view line) const;

private:
    [[nodiscard]] bool writable() const;

    int stopFd_;
    UniqueFd own_;  // never blocks; absent where standard output can only be used as it is
    int fd_;
};

/// Writes a line and its end. Throws Refused when it cannot be written.
void printLine(std::string_view line);

/// One line of JSON without white space, bytes outside of UTF-8 as escapes. A null token is JSON's null.
void printJson(const json_token* token);
