// A daemon on a device of its own, for tests that are no transcripts.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "endToEnd/testDevice.h"
#include "platform/eventBus.h"
#include "platform/lpc.h"
#include "support/outputFile.h"
#include "support/pseudoTerminal.h"
#include "support/waiting.h"

inline constexpr char kExternal[] = "externalComd";
inline constexpr char kInternal[] = "internalComd";
inline constexpr char kExternalService[] = "lpcExampledNoUse";
inline constexpr char kInternalService[] = "lpcExampledNoUse2";

/// One running instance and its serial line.
class Console {
public:
    /// Starts it and waits until it serves, its listener included.
    Console(TestDevice& device, const char* name);

    PseudoTerminal& line() { return line_; }
    OutputFile& log() { return log_; }
    ChildProcess& process() { return *process_; }

    /// Types a line and returns what came up to the end of the reply `until`.
    std::string answer(const std::string& typed, const std::string& until);
    /// Waits until something is printed behind a place.
    void waitForPrinted(const std::string& text, std::size_t from = 0);
    /// Returns once the loop has dealt with all that was typed and called before.
    void passLoop();

private:
    PseudoTerminal line_;
    OutputFile log_;
    std::unique_ptr<ChildProcess> process_;
    bool internal_;
};

class DaemonTest : public testing::Test {
protected:
    TestDevice device_;
};

// What uses the engine here does it on a thread of its own, whose connections end with it.
template <class Work>
auto aside(Work work)
{
    decltype(work()) result{};
    std::thread([&] { result = work(); }).join();
    return result;
}

/// 0, or the errno of the failure.
int callMethod(const std::string& service, const std::string& method, const std::optional<std::string>& text);
int publishEvent(const std::string& topic, const std::optional<std::string>& payload);
