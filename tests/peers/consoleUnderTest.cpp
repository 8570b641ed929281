#include "peers/consoleUnderTest.h"

#include <exception>
#include <thread>

#include <gtest/gtest.h>

using transcript::GivenLeaf;
using transcript::Observed;
using transcript::Step;
using transcript::Store;

ConsoleUnderTest::ConsoleUnderTest(bool internalRole) : backend_(kMakeBackend(internalRole))
{
}

void ConsoleUnderTest::givenSetting(const std::string& path, const std::string& json)
{
    backend_->give(GivenLeaf{Store::settings, path, json});
}

void ConsoleUnderTest::givenStatus(const std::string& path, const std::string& json)
{
    backend_->give(GivenLeaf{Store::status, path, json});
}

Observed ConsoleUnderTest::type(const std::string& bytes)
{
    Step step;
    step.bytes = bytes;
    return backend_->perform(step);
}

Observed ConsoleUnderTest::call(const std::string& method, const std::optional<std::string>& text)
{
    return perform(Step::Kind::lpc, method, text);
}

Observed ConsoleUnderTest::publish(const std::string& topic, const std::optional<std::string>& payload)
{
    return perform(Step::Kind::publish, topic, payload);
}

Observed ConsoleUnderTest::perform(Step::Kind kind, const std::string& name, const transcript::Text& text)
{
    Step step;
    step.kind = kind;
    step.name = name;
    step.text = text;
    return backend_->perform(step);
}

void play(bool internalRole, const std::function<void(ConsoleUnderTest&)>& body)
{
    std::thread([&] {
        try {
            ConsoleUnderTest console(internalRole);
            body(console);
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
    }).join();
}
