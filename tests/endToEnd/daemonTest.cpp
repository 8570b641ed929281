#include "endToEnd/daemonTest.h"

#include <cerrno>
#include <cstring>

int callMethod(const std::string& service, const std::string& method, const std::optional<std::string>& text)
{
    return aside([&] {
        return callPatiently(service.c_str(), method.c_str(), text ? text->c_str() : nullptr) == 0 ? 0 : errno;
    });
}

int publishEvent(const std::string& topic, const std::optional<std::string>& payload)
{
    return aside(
        [&] { return eventbus_publish(topic.c_str(), payload ? payload->c_str() : nullptr) == 0 ? 0 : errno; });
}

Console::Console(TestDevice& device, const char* name) : internal_(std::strcmp(name, kInternal) == 0)
{
    process_ = device.startDaemon(name, {line_.device()}, log_);
    passLoop();
    // The listener prints the payload of the last topic that it subscribes.
    int marker = 0;
    constexpr std::chrono::milliseconds kOneTry{20};
    waitFor("the listener to start", [&] {
        const std::string text = "start " + std::to_string(++marker) + ";";
        publishEvent("networkStatusConfigChanged", text);
        return becomesTrue([&] { return log_.holds(text, 0); }, kOneTry);
    });
}

void Console::passLoop()
{
    line_.waitUntilAllRead();
    waitFor("the loop", [&] {
        if (!process_->running()) {
            throw std::runtime_error("the daemon ended: " + log_.from(0));
        }
        return (internal_ ? callMethod(kInternalService, "HDBTRS232Set", std::nullopt)
                          : callMethod(kExternalService, "wpDispBtn", "RS232zone")) == 0;
    });
}

std::string Console::answer(const std::string& typed, const std::string& until)
{
    line_.type(typed);
    return line_.takeOutputWith(until);
}

void Console::waitForPrinted(const std::string& text, std::size_t from)
{
    if (!becomesTrue([&] { return log_.holds(text, from); })) {
        throw std::runtime_error("not printed: " + text + "; but: " + log_.from(from));
    }
}
