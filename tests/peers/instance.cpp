#include "peers/instance.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/eventBus.h"
#include "platform/lpc.h"
#include "support/waiting.h"

namespace {

constexpr const char* kMarkerTopic = "networkStatusConfigChanged";
// The last that the listener prints of a marker, which is no JSON.
constexpr const char* kMarkerRefused = "Warnning! newObj==NULL!\r\n";

std::string newMarker()
{
    static std::atomic<int> markers{0};
    return "marker " + std::to_string(++markers) + ";";
}

}  // namespace

std::string daemonPath(const std::string& name)
{
    return std::string(DAEMON_DIRECTORY) + "/" + name;
}

std::unique_ptr<ChildProcess> startApart(const TestDevice& device, const std::vector<std::string>& words,
                                         const OutputFile& output, const OutputFile& errors)
{
    // The shell parts the streams and becomes the program.
    const UniqueFd inherited(::dup(errors.fd()));
    std::vector<std::string> all{"sh", "-c", "exec \"$@\" 2>>/proc/self/fd/" + std::to_string(inherited.get()), "sh"};
    all.insert(all.end(), words.begin(), words.end());
    return std::make_unique<ChildProcess>(ChildProcess::Start{
        .program = "/bin/sh", .words = std::move(all), .environment = device.environment(), .output = output.fd()});
}

EndedProgram runToItsEnd(const TestDevice& device, const std::vector<std::string>& words)
{
    const OutputFile output;
    const OutputFile errors;
    const auto process = startApart(device, words, output, errors);
    const int status = process->wait();
    return {status, output.from(0), errors.from(0)};
}

void onADevice(const std::function<void(TestDevice&)>& body)
{
    std::thread([&] {
        try {
            TestDevice device;
            body(device);
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
    }).join();
}

void onADeviceThatIsRead(const std::function<bool(TestDevice&)>& body)
{
    constexpr int kTries = 3;
    bool read = false;
    for (int tries = 0; tries < kTries && !read; ++tries) {
        onADevice([&](TestDevice& device) {
            read = true;  // what it throws is its result
            read = body(device);
        });
    }
    EXPECT_TRUE(read) << "a text was given up each time";
}

Instance::Instance(TestDevice& device, InstanceRole role, const std::vector<std::string>& wrapper)
    : service_(role == InstanceRole::internal ? "lpcExampledNoUse2" : "lpcExampledNoUse")
{
    std::vector<std::string> words = wrapper;
    words.push_back(daemonPath(role == InstanceRole::internal ? "internalComd" : "externalComd"));
    words.push_back(line_.device());
    process_ = startApart(device, words, output_, errors_);
    waitForOutput(std::string("[main]lpc_service_create|") + service_ + "\r\n");
    // The topic of the markers is the last that it subscribes.
    waitFor("the listener to start", [this] { return listens(); });
}

bool Instance::listens()
{
    constexpr std::chrono::milliseconds kOneTry{20};
    expectRunning();
    const std::string marker = newMarker();
    const std::size_t start = errors_.size();
    publishEvent(kMarkerTopic, marker.c_str());
    return becomesTrue([&] { return errors_.holds("params=" + marker, start); }, kOneTry);
}

void Instance::passListener()
{
    const std::string marker = newMarker();
    const std::size_t start = errors_.size();
    publishEvent(kMarkerTopic, marker.c_str());
    waitFor("the listener", [&] {
        expectRunning();
        const std::string said = errors_.from(start);
        const std::size_t at = said.find("params=" + marker);
        return at != std::string::npos && said.find(kMarkerRefused, at) != std::string::npos;
    });
}

bool Instance::hasGivenUp() const
{
    return errors_.holds("write: Connection timed out\n", 0);
}

void Instance::waitForOutput(const std::string& text)
{
    waitFor(text.c_str(), [&] {
        expectRunning();
        return output_.holds(text, 0);
    });
}

void Instance::waitForErrors(const std::string& text)
{
    waitFor(text.c_str(), [&] {
        expectRunning();
        return errors_.holds(text, 0);
    });
}

void Instance::expectRunning()
{
    if (!process_->running()) {
        constexpr std::size_t kLastWords = 4'000;
        const std::string said = errors();
        throw std::runtime_error("the daemon ended with status " + std::to_string(process_->wait()) + ": " + output() +
                                 said.substr(said.size() > kLastWords ? said.size() - kLastWords : 0));
    }
}

void callMethod(const char* service, const char* method, const char* text)
{
    if (callPatiently(service, method, text) != 0) {
        throw std::runtime_error(std::string(service) + " " + method + ": " + std::strerror(errno));
    }
}

void publishEvent(const char* topic, const char* payload)
{
    if (eventbus_publish(topic, payload) != 0) {
        throw std::runtime_error(std::string(topic) + ": " + std::strerror(errno));
    }
}
