#include "endToEnd/testDevice.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <set>
#include <stdexcept>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

#include "support/waiting.h"

namespace {

constexpr const char* kPeerServices[] = {"wpcmdd",    "displayControl", "displayControlTelnetClient",
                                         "intermcud", "networkd",       "systemd"};

std::string documentOf(const std::string& path, const std::string& json)
{
    std::string document = "{\"";
    std::size_t levels = 1;
    for (const char character : path) {
        if (character == '.') {
            document += "\":{\"";
            ++levels;
        } else {
            document += character;
        }
    }
    return document + "\":" + json + std::string(levels, '}');
}

}  // namespace

TestDevice::TestDevice() : standIns_(directory_.path()), stop_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    startBus();
    for (const auto& [name, value] : environment()) {
        if (name != "PATH") {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
    }
}

TestDevice::~TestDevice()
{
    eventfd_write(stop_.get(), 1);
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

std::map<std::string, std::string> TestDevice::environment() const
{
    const char* path = std::getenv("PATH");
    return {{"PLATFORM", "local:" + directory()},
            {"DBUS_SESSION_BUS_ADDRESS", busAddress_},
            {"PLATFORM_SHELL", standIns_.shell()},
            {"TSAN_OPTIONS", "halt_on_error=1"},  // a daemon with a data race must not pass for a sound one
            {"PATH", standIns_.programDirectory() + ":" + (path != nullptr ? path : "/usr/bin:/bin")}};
}

void TestDevice::startBus()
{
    const std::string socket = (directory_.path() / "bus").string();
    const std::string configuration = (directory_.path() / "bus.conf").string();
    std::ofstream(configuration) << R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)" << socket << R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";
    const OutputFile address;
    bus_ = std::make_unique<ChildProcess>(ChildProcess::Start{
        .program = DBUS_DAEMON,
        .words = {DBUS_DAEMON, "--config-file=" + configuration, "--nofork", "--nopidfile", "--print-address"},
        .environment = {},
        .output = address.fd()});
    // It prints its address once it listens.
    waitFor("the bus", [&] { return address.holds("\n", 0) || !bus_->running(); });
    if (!bus_->running()) {
        throw std::runtime_error("the bus does not start: " + address.from(0));
    }
    busAddress_ = "unix:path=" + socket;
}

void TestDevice::stopBus()
{
    bus_.reset();
}

void TestDevice::put(local::Store store, const std::string& path, const std::string& json) const
{
    static_cast<void>(local::unset(store, path));  // in place of what stood there, a branch included
    if (!peersStarted_) {
        if (local::update(store, documentOf(path, json).c_str()) != 0) {
            throw std::runtime_error("cannot store " + path + ": " + std::strerror(errno));
        }
        return;
    }
    // A program without a bus announces nothing.
    const OutputFile output;
    ChildProcess program({.program = PLATFORMCTL,
                          .words = {PLATFORMCTL, store == local::Store::settings ? "config" : "status", "update",
                                    documentOf(path, json)},
                          .environment = {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"}},
                          .output = output.fd()});
    if (program.wait() != 0) {
        throw std::runtime_error("cannot store " + path + ": " + output.from(0));
    }
}

void TestDevice::putFactoryData(const std::string& key, const std::string& text)
{
    if (local::writeFactoryData(key, text) != 0) {
        throw std::runtime_error("cannot store factory data " + key);
    }
}

std::optional<std::string> TestDevice::read(local::Store store, const std::string& path)
{
    const JsonToken token(local::readPath(store, path));
    if (token == nullptr) {
        return std::nullopt;
    }
    const PlatformText text(json_token_to_string(token.get()));
    return std::string(text.get());
}

void TestDevice::setPeer(const std::string& service, const std::string& method, const PeerAnswer& answer)
{
    const std::lock_guard lock(mutex_);
    peers_[{service, method}] = answer;
}

void TestDevice::startPeers()
{
    std::set<std::string> services(std::begin(kPeerServices), std::end(kPeerServices));
    for (const auto& [names, given] : peers_) {
        services.insert(names.first);
    }
    for (const auto& [names, given] : peers_) {
        if (given.absent) {
            services.erase(names.first);
        }
    }
    for (const std::string& service : services) {
        threads_.emplace_back([this, service] { serve(service); });
    }
    threads_.emplace_back([this] { watch(); });
    std::unique_lock lock(mutex_);
    const bool started =
        changed_.wait_for(lock, kPatience, [&] { return ready_ == services.size() + 1 || !failure_.empty(); });
    if (!started || !failure_.empty()) {
        throw std::runtime_error("peers do not start: " + failure_);
    }
    peersStarted_ = true;
}

void TestDevice::threadReady()
{
    const std::lock_guard lock(mutex_);
    ++ready_;
    changed_.notify_all();
}

void TestDevice::serve(const std::string& service)
{
    const int result = local::serveMethods(
        service, {}, stop_.get(), [this] { threadReady(); },
        [&](const local::Request& request) { return answer(service, request); });
    if (result != 0) {
        const std::lock_guard lock(mutex_);
        failure_ = service + ": " + std::strerror(errno);
        changed_.notify_all();
    }
}

local::Answer TestDevice::answer(const std::string& service, const local::Request& request)
{
    PeerAnswer given;
    {
        const std::lock_guard lock(mutex_);
        calls_.push_back({service, request.method, request.params});
        const auto at = peers_.find({service, request.method});
        if (at != peers_.end()) {
            given = at->second;
        }
        changed_.notify_all();
    }
    if (given.silent) {
        pollfd stopped{stop_.get(), POLLIN, 0};
        ::poll(&stopped, 1, -1);
    }
    return {given.fails, given.data};
}

void TestDevice::watch()
{
    const int result = local::watchEvents(
        {}, stop_.get(), [this] { threadReady(); },
        [this](const local::Event& event) {
            const std::lock_guard lock(mutex_);
            events_.push_back(event);
            changed_.notify_all();
        });
    if (result != 0) {
        const std::lock_guard lock(mutex_);
        failure_ = std::string("event watcher: ") + std::strerror(errno);
        changed_.notify_all();
    }
}

std::unique_ptr<ChildProcess>
TestDevice::startDaemon(const std::string& name, const std::vector<std::string>& arguments, const OutputFile& output)
{
    // Started by a link of that name: an emulator goes by the file.
    const std::filesystem::path link = directory_.path() / "programs" / name;
    std::filesystem::create_directories(link.parent_path());
    if (!std::filesystem::is_symlink(link)) {
        std::filesystem::create_symlink(std::string(DAEMON_DIRECTORY) + "/externalComd", link);
    }
    std::vector<std::string> words{link};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return std::make_unique<ChildProcess>(ChildProcess::Start{
        .program = link, .words = std::move(words), .environment = environment(), .output = output.fd()});
}

std::vector<local::Event> TestDevice::takeEvents()
{
    const std::lock_guard lock(mutex_);
    return std::exchange(events_, {});
}

std::vector<TestDevice::Call> TestDevice::takeCalls()
{
    const std::lock_guard lock(mutex_);
    return std::exchange(calls_, {});
}

bool TestDevice::hasSeen(const std::string& topic, const std::optional<std::string>& payload)
{
    const std::lock_guard lock(mutex_);
    for (const local::Event& event : events_) {
        if (event.topic == topic && event.payload == payload) {
            return true;
        }
    }
    return false;
}

void TestDevice::waitForEvent(const std::string& topic, const std::optional<std::string>& payload)
{
    if (!becomesTrue([&] { return hasSeen(topic, payload); })) {
        throw std::runtime_error("no event " + topic + " " + payload.value_or("without payload"));
    }
}

int callPatiently(const char* service, const char* method, const char* params)
{
    constexpr auto kPatienceMs = std::chrono::milliseconds(kPatience).count();
    lpc_completion* call = lpc_proxy_call_with_reply(service, method, params);
    const int result = call != nullptr ? lpc_completion_wait(call, static_cast<int>(kPatienceMs)) : -1;
    const int error = errno;
    lpc_completion_destroy(call);
    errno = error;
    return result;
}
