// One daemon of a device under test: its line, its two output streams, its service.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "endToEnd/testDevice.h"
#include "support/outputFile.h"
#include "support/pseudoTerminal.h"

enum class InstanceRole { external, internal };

inline void PrintTo(InstanceRole role, std::ostream* out)
{
    *out << (role == InstanceRole::internal ? "internal" : "external");
}

class Instance {
public:
    /// Starts it and waits until it serves requests and hears events. `wrapper` is a command that is given the
    /// daemon's command line as further words. Throws std::exception.
    Instance(TestDevice& device, InstanceRole role, const std::vector<std::string>& wrapper = {});

    PseudoTerminal& line() { return line_; }
    [[nodiscard]] const char* service() const { return service_; }
    ChildProcess& process() { return *process_; }
    /// All that it printed.
    [[nodiscard]] std::string output() const { return output_.from(0); }
    [[nodiscard]] std::string errors() const { return errors_.from(0); }

    /// Waits until a line of its output or errors holds a text.
    void waitForOutput(const std::string& text);
    void waitForErrors(const std::string& text);
    /// Returns once the listener has dealt with every event published before.
    void passListener();
    /// Throws when it ended.
    void expectRunning();
    /// Whether it has given up a text because nobody had read its line for 2 s.
    [[nodiscard]] bool hasGivenUp() const;

private:
    bool listens();

    const char* service_;
    PseudoTerminal line_;
    OutputFile output_;
    OutputFile errors_;
    std::unique_ptr<ChildProcess> process_;
};

/// The path of the daemon under the name of a role.
std::string daemonPath(const std::string& name);

/// Starts a program with its two output streams apart.
std::unique_ptr<ChildProcess> startApart(const TestDevice& device, const std::vector<std::string>& words,
                                         const OutputFile& output, const OutputFile& errors);

struct EndedProgram {
    int status;
    std::string output;
    std::string errors;
};
EndedProgram runToItsEnd(const TestDevice& device, const std::vector<std::string>& words);

/// Runs a test's body with a device, on a thread of its own as the bundled engine asks; what it throws fails the test.
void onADevice(const std::function<void(TestDevice&)>& body);

/// The same for tests that a daemon sends more than a line holds. A machine so busy that such a test does not get to
/// reading for 2 s does not count: a body returns false then, and is run again, three times in all.
void onADeviceThatIsRead(const std::function<bool(TestDevice&)>& body);

/// Calls a method of an instance as a peer does; throws when the call fails.
void callMethod(const char* service, const char* method, const char* text);
/// Publishes an event as a peer does; throws when that fails.
void publishEvent(const char* topic, const char* payload);
