// A record whose port is one end of a socket pair, so that a test sees the bytes that handlers and reporters write.
#pragma once

#include <string>

#include "core/consoleParameter.h"
#include "platform/support/ownership.h"

class ConsoleRecord {
public:
    /// Becomes the process's record for its lifetime. Throws std::system_error.
    explicit ConsoleRecord(int sourceType = kExternalConsole);
    ~ConsoleRecord();
    ConsoleRecord(const ConsoleRecord&) = delete;
    ConsoleRecord& operator=(const ConsoleRecord&) = delete;

    [[nodiscard]] ConsoleParameter& get() { return record_; }
    /// All that was written to the port up to now.
    std::string takeReplies();
    /// From now on no port is open.
    void closePort() { record_.uart.replace(nullptr); }
    /// The far end, to read from or to fill.
    [[nodiscard]] int farEnd() const { return farEnd_.get(); }

private:
    ConsoleParameter record_;
    UniqueFd farEnd_;
};
