// A serial line whose far end knows every text that is to come: texts of one kind come in their order, those of several
// kinds in any, each whole. Callable from any thread.
#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "support/pseudoTerminal.h"

class CheckedLine {
public:
    explicit CheckedLine(std::string name) : name_(std::move(name)) {}

    [[nodiscard]] const std::string& device() const { return terminal_.device(); }

    /// To be called before the cause of the text: a line without its CR LF.
    void expect(const std::string& text);
    /// Types bytes; what the daemon writes meanwhile is kept.
    void type(const std::string& bytes);
    [[nodiscard]] bool allRead();
    /// Takes what has come, and throws when that is nothing that was expected. A line that nobody reads for 2 s loses
    /// texts.
    void read();
    /// True when nothing is outstanding, once read.
    [[nodiscard]] bool complete();
    /// True when every typed command has its answer, once read.
    [[nodiscard]] bool answered();
    /// What is outstanding, for a message.
    [[nodiscard]] std::string outstanding();

    [[nodiscard]] std::size_t received() const { return received_; }
    /// What has come, expected or not.
    std::string takeAll();

private:
    void take();

    std::string name_;
    std::mutex mutex_;
    PseudoTerminal terminal_;
    std::string rest_;
    std::map<std::string, std::deque<std::string>> expected_;  // by kind
    std::size_t received_ = 0;
};
