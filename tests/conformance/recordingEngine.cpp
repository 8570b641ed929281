// The platform in memory, as an example of another engine: it knows one process and no bus that could break, so the
// tests about those are not for it.
#include "engineUnderTest.h"

#include <stdexcept>

#include "support/recordingPlatform.h"

namespace {

class RecordingEngine : public EngineUnderTest {
public:
    void start() override { recording::reset(); }
    void renewStores() override { recording::reset(); }
    void killBus() override { throw std::logic_error("there is no bus to kill"); }
    void startBus() override { throw std::logic_error("there is no bus to start"); }
    void freezeBus() override { throw std::logic_error("there is no bus to freeze"); }
    void thawBus() override { throw std::logic_error("there is no bus to thaw"); }
    [[nodiscard]] bool needsFreshProcess() const override { return false; }
    void writeFactoryData(const std::string& key, const std::string& text) override
    {
        recording::setFactoryData(key, text);
    }
};

}  // namespace

std::unique_ptr<EngineUnderTest> makeEngineUnderTest()
{
    return std::make_unique<RecordingEngine>();
}
