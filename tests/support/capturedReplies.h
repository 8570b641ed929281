// The record with a port whose output is collected: for tests that call handlers and reporters by themselves.
#pragma once

#include <fcntl.h>
#include <memory>
#include <string>

#include "core/consoleParameter.h"
#include "serial/uart.h"
#include "support/outputFile.h"

class CapturedReplies {
public:
    explicit CapturedReplies(SourceType role = kExternalConsole)
    {
        const auto port = std::make_shared<UartPort>();
        port->fd = ::fcntl(output_.fd(), F_DUPFD_CLOEXEC, 3);
        record_.sourceType = role;
        record_.uart.replace(port);
        pConsoleParameterA = &record_;
    }
    ~CapturedReplies() { pConsoleParameterA = nullptr; }
    CapturedReplies(const CapturedReplies&) = delete;
    CapturedReplies& operator=(const CapturedReplies&) = delete;

    ConsoleParameter& record() { return record_; }

    /// What was replied since the last call.
    std::string take()
    {
        std::string text = output_.from(taken_);
        taken_ += text.size();
        return text;
    }

private:
    ConsoleParameter record_;
    OutputFile output_;
    std::size_t taken_ = 0;
};
