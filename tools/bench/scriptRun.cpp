#include "bench/scriptRun.h"

#include <csignal>
#include <cstdio>
#include <future>
#include <memory>
#include <unistd.h>

#include "bench/benchConsole.h"
#include "bench/stores.h"
#include "support/failure.h"
#include "support/readAll.h"
#include "support/stopSignals.h"

namespace {

using transcript::Scenario;

/// A receiver of the scenario's own, from the first thing given to it.
class ScenarioConsole : public transcript::Backend {
public:
    ScenarioConsole(const ScriptRun& run, bool internalRole)
        : run_(run), internalRole_(internalRole),
          receiver_(std::string(), [this](const Happening& happening) { see(happening); }),
          console_(std::make_unique<BenchConsole>(receiver_, internalRole))
    {
        receiver_.standIns().setExitStatus(0);
        console_->peerPlan().services = run.peers.services;
        console_->peerPlan().absent = run.peers.absent;
        if (!run.state.empty()) {
            loadState(run.state);
        }
    }

    ScenarioConsole(const ScenarioConsole&) = delete;
    ScenarioConsole& operator=(const ScenarioConsole&) = delete;
    ~ScenarioConsole() override { console_.reset(); }

    void give(const transcript::Given& given) override { console_->give(given); }

    void start() override
    {
        receiver_.start(
            {.internalConsole = internalRole_, .bothInstances = false, .watched = true, .peers = console_->peerPlan()});
        console_->start();
    }

    transcript::Observed perform(const transcript::Step& step) override { return console_->perform(step); }

    transcript::Text read(transcript::Store store, const std::string& path) override
    {
        return console_->read(store, path);
    }

private:
    void see(const Happening& happening)
    {
        if (console_) {
            console_->see(happening);
        }
        if (run_.observer) {
            run_.observer(happening);
        }
    }

    const ScriptRun& run_;
    bool internalRole_;
    Receiver receiver_;
    std::unique_ptr<BenchConsole> console_;
};

std::string runScenario(const ScriptRun& run, const Scenario& scenario)
{
    const auto work = [&]() -> std::string {
        try {
            ScenarioConsole console(run, scenario.internalRole);
            return transcript::run(scenario, console, run.compare);
        } catch (const std::exception& error) {
            return scenario.file + ": " + scenario.title + ": " + error.what() + "\n";
        }
    };
    // A thread of its own: the bundled engine keeps its connections by the thread.
    return std::async(std::launch::async, work).get();
}

transcript::File readScript(const std::string& file)
{
    transcript::File script;
    if (file == "-") {
        try {
            script = transcript::parse("-", readAll(STDIN_FILENO), ".");
        } catch (const std::runtime_error& error) {
            script.error = error.what();
        }
    } else {
        script = transcript::readFile(file, file);
    }
    if (!script.error.empty()) {
        throw Refused(script.error + "; tests/transcripts/README.md gives the format, installed as "
                                     "/usr/share/doc/receiver-bench/transcripts.md");
    }
    if (script.scenarios.empty()) {
        throw Refused(file + " holds no scenario; one begins with '== TITLE', then '> LINE' and '< REPLY'");
    }
    return script;
}

std::string counted(std::size_t count, const char* what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

bool runScriptFile(const ScriptRun& run)
{
    // Not taken from here: blocked on this thread, so that they reach the receiver that runs.
    const UniqueFd stop = stopDescriptor({SIGINT, SIGTERM, SIGHUP});
    const transcript::File script = readScript(run.file);
    std::size_t good = 0;
    std::size_t failed = 0;
    std::size_t left = 0;
    for (const Scenario& scenario : script.scenarios) {
        if (!scenario.memoryOnly.empty()) {
            ++left;
            std::printf("%s:%d: %s\n    not run: faults of the platform and log levels can be had in the unit tests "
                        "alone (%s)\n",
                        scenario.file.c_str(), scenario.line, scenario.title.c_str(), scenario.memoryOnly.c_str());
            continue;
        }
        const std::string difference = runScenario(run, scenario);
        ++(difference.empty() ? good : failed);
        std::fputs(difference.c_str(), stdout);
        std::fflush(stdout);
    }
    std::printf("%s went as written%s%s\n", counted(good, "scenario").c_str(),
                failed == 0 ? "" : (", " + counted(failed, "scenario") + " otherwise").c_str(),
                left == 0 ? "" : (", " + counted(left, "scenario") + " not run").c_str());
    std::fflush(stdout);
    return failed == 0 && good > 0;
}
