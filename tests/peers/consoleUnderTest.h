// A console that a test talks to step by step, as a transcript does: in memory or at the bus, as the program is linked.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "transcript/backend.h"

class ConsoleUnderTest {
public:
    explicit ConsoleUnderTest(bool internalRole);

    // Before start(), or between steps; announced to nobody.
    void givenSetting(const std::string& path, const std::string& json);
    void givenStatus(const std::string& path, const std::string& json);
    void start() { backend_->start(); }

    // Each returns once there is nothing left to do about it.
    transcript::Observed type(const std::string& bytes);
    transcript::Observed call(const std::string& method, const std::optional<std::string>& text);
    transcript::Observed publish(const std::string& topic, const std::optional<std::string>& payload);

private:
    transcript::Observed perform(transcript::Step::Kind kind, const std::string& name, const transcript::Text& text);

    std::unique_ptr<transcript::Backend> backend_;
};

/// What the program's consoles run on.
extern const transcript::MakeBackend kMakeBackend;

/// Runs a test's body on a thread of its own, as the bundled engine asks; what it throws fails the test.
void play(bool internalRole, const std::function<void(ConsoleUnderTest&)>& body);
