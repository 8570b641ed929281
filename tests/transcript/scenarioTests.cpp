#include "transcript/scenarioTests.h"

#include <functional>
#include <thread>

#include <gtest/gtest.h>

namespace transcript {

namespace {

class ScenarioTest : public testing::Test {
public:
    explicit ScenarioTest(std::function<std::string()> body) : body_(std::move(body)) {}

    void TestBody() override
    {
        std::string failure;
        // A thread of its own: the bundled engine keeps its connections by the thread.
        std::thread([&] { failure = body_(); }).join();
        EXPECT_TRUE(failure.empty()) << failure;
    }

private:
    std::function<std::string()> body_;
};

void add(const std::string& suite, const std::string& name, const std::function<std::string()>& body)
{
    testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [=]() -> testing::Test* { return new ScenarioTest(body); });
}

std::string runOn(const Scenario& scenario, MakeBackend makeBackend)
{
    try {
        return run(scenario, *makeBackend(scenario.internalRole));
    } catch (const std::exception& error) {
        return scenario.file + ": " + error.what();
    }
}

// The suite of a filter such as "console_help.A_title" or "console_help.*"; empty for any other filter.
std::string onlySuite(const std::string& filter)
{
    const std::size_t dot = filter.find('.');
    const bool oneSuite =
        dot != std::string::npos && filter.find_first_of("*?") > dot && filter.find_first_of(":-") == std::string::npos;
    return oneSuite ? filter.substr(0, dot) : std::string();
}

}  // namespace

void registerScenarios(bool endToEndOnly, MakeBackend makeBackend)
{
    for (const File& file : readAll(TRANSCRIPT_DIRECTORY, onlySuite(testing::GTEST_FLAG(filter)))) {
        const std::string suite = testName(file.name);
        if (!file.error.empty()) {
            add(suite, "isWellFormed", [error = file.error] { return error; });
        }
        for (const Scenario& scenario : file.scenarios) {
            if (scenario.memoryOnly.empty() || !endToEndOnly) {
                add(suite, testName(scenario.title), [=] { return runOn(scenario, makeBackend); });
            }
        }
    }
}

}  // namespace transcript
