#include "peers/seen.h"

void Seen::refresh()
{
    for (TestDevice::Call& call : device_.takeCalls()) {
        calls_[{call.service, call.method}].push_back(call.params.value_or(""));
    }
    for (local::Event& event : device_.takeEvents()) {
        events_[event.topic].push_back(event.payload.value_or(""));
    }
}

std::string Seen::characters(const std::string& service, const std::string& method)
{
    const std::lock_guard lock(mutex_);
    refresh();
    std::string all;
    for (const std::string& text : calls_[{service, method}]) {
        all += text;
    }
    return all;
}

std::size_t Seen::calls(const std::string& service, const std::string& method)
{
    const std::lock_guard lock(mutex_);
    refresh();
    return calls_[{service, method}].size();
}

std::vector<std::string> Seen::payloads(const std::string& topic)
{
    const std::lock_guard lock(mutex_);
    refresh();
    return events_[topic];
}
