// The bundled engine, on a directory and a D-Bus daemon of its own.
#include "engineUnderTest.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "childProcess.h"
#include "platform/local/local.h"

namespace {

// A private bus: no service files, no other user's policy. It listens where --address says.
constexpr const char* kBusConfiguration = R"(<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

class LocalEngine : public EngineUnderTest {
public:
    LocalEngine()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "conformanceXXXXXX";
        directory_ = ::mkdtemp(pattern.data());
    }

    ~LocalEngine() override
    {
        bus_ = ChildProcess();
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }

    void start() override
    {
        std::ofstream(directory_ / "bus.conf") << kBusConfiguration;
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address().c_str(), 1);
        startBus();
        renewStores();
    }

    void renewStores() override
    {
        const std::filesystem::path stores = directory_ / ("stores" + std::to_string(++generation_)) / "below";
        ::setenv("PLATFORM", ("local:" + stores.string()).c_str(), 1);
    }

    void killBus() override
    {
        bus_.signal(SIGKILL);
        bus_.wait();
    }

    void startBus() override
    {
        std::filesystem::remove(directory_ / "bus");
        bus_ = ChildProcess({"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog", "--print-address",
                             "--address=" + address(), "--config-file=" + (directory_ / "bus.conf").string()});
        ASSERT_TRUE(bus_.line().has_value()) << "dbus-daemon does not start";
    }

    void freezeBus() override { bus_.signal(SIGSTOP); }
    void thawBus() override { bus_.signal(SIGCONT); }

    void writeFactoryData(const std::string& key, const std::string& text) override
    {
        ASSERT_EQ(local::writeFactoryData(key, text), 0);
    }

private:
    [[nodiscard]] std::string address() const { return "unix:path=" + (directory_ / "bus").string(); }

    std::filesystem::path directory_;
    ChildProcess bus_;
    int generation_ = 0;
};

}  // namespace

std::unique_ptr<EngineUnderTest> makeEngineUnderTest()
{
    return std::make_unique<LocalEngine>();
}
