// What a scenario runs on.
#pragma once

#include <memory>

#include "transcript/transcript.h"

namespace transcript {

/// What a step brought about, each kind in its order.
struct Observed {
    std::string replies;
    std::vector<Event> events;
    std::vector<Call> calls;
    std::vector<std::string> runs;
    std::string printed;
    std::vector<LogCheck> logs;
};

/// One console on fresh stores. Everything may throw std::exception, which fails the scenario.
class Backend {
public:
    virtual ~Backend() = default;
    /// Before start(), or between steps; announced to nobody.
    virtual void give(const Given& given) = 0;
    /// Starts the console; its own start-up is not part of any step.
    virtual void start() = 0;
    /// Carries out a step and waits until the console has nothing left to do about it.
    virtual Observed perform(const Step& step) = 0;
    virtual Text read(Store store, const std::string& path) = 0;
};

using MakeBackend = std::unique_ptr<Backend> (*)(bool internalRole);

/// The lines that a transcript has for it.
std::vector<std::string> toLines(const Observed& seen);

enum class Compare { everything, replies };

/// Runs a scenario. Empty when all went as written; else what went otherwise, for a person to read.
std::string run(const Scenario& scenario, Backend& backend, Compare what = Compare::everything);

}  // namespace transcript
