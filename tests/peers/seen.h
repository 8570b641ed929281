// What the peers of a device have seen so far, kept while the test goes on.
#pragma once

#include <functional>
#include <mutex>

#include "endToEnd/testDevice.h"

class Seen {
public:
    explicit Seen(TestDevice& device) : device_(device) {}

    /// The characters that a method was called with, one after the other.
    std::string characters(const std::string& service, const std::string& method);
    std::size_t calls(const std::string& service, const std::string& method);
    /// The payloads of a topic's events.
    std::vector<std::string> payloads(const std::string& topic);

private:
    void refresh();

    TestDevice& device_;
    std::mutex mutex_;
    std::map<std::pair<std::string, std::string>, std::vector<std::string>> calls_;
    std::map<std::string, std::vector<std::string>> events_;
};
