// The engine that the suite puts to the test. Another one is tested by linking its platform library and another
// implementation of makeEngineUnderTest().
#pragma once

#include <memory>
#include <string>

class EngineUnderTest {
public:
    EngineUnderTest() = default;
    EngineUnderTest(const EngineUnderTest&) = delete;
    EngineUnderTest& operator=(const EngineUnderTest&) = delete;
    virtual ~EngineUnderTest() = default;

    /// Environment variables for this process and those it starts: empty stores, a bus of its own that runs.
    virtual void start() = 0;
    /// Fresh, empty stores for the processes started from now on.
    virtual void renewStores() = 0;

    virtual void killBus() = 0;
    /// The bus runs again, at the same place, once this returns.
    virtual void startBus() = 0;
    /// The bus stops answering, and goes on.
    virtual void freezeBus() = 0;
    virtual void thawBus() = 0;

    /// Whether the engine keeps, until its process ends, what one test could leave to the next. Such tests run one a
    /// process.
    [[nodiscard]] virtual bool needsFreshProcess() const { return true; }

    virtual void writeFactoryData(const std::string& key, const std::string& text) = 0;
};

std::unique_ptr<EngineUnderTest> makeEngineUnderTest();
