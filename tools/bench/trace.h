// What happens in the receiver, for a person to read along: a line each on standard error, with the time since the
// start, who did it, and the words that a transcript has for it.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>

#include "bench/journal.h"

/// The same in short, for whoever does not trace: calls of peers, commands, what the other port says.
void noteHappening(const Happening& happening);

class Trace {
public:
    struct Looks {
        bool coloured = false;
        bool console = true;  ///< what is typed and replied, too: it is not seen there otherwise
    };

    explicit Trace(Looks looks) : looks_(looks), start_(std::chrono::steady_clock::now()) {}

    void see(const Happening& happening);

private:
    void print(const Happening& happening, const char* colour, const std::string& text);
    void printEvent(const Happening& happening);
    std::string whoIs(const Happening& happening);

    Looks looks_;
    std::chrono::steady_clock::time_point start_;
    std::map<pid_t, std::string> names_;
};
