// Payloads and arguments that nobody should send: a command is answered after each of them.
#include <gtest/gtest.h>

#include "peers/consoleUnderTest.h"

using transcript::Observed;

namespace {

constexpr std::size_t kMegabyte = 1'000'000;

struct Input {
    const char* name;
    std::optional<std::string> text;
};

std::string nested(std::size_t levels, const std::string& begin, const std::string& value, char end)
{
    std::string json;
    for (std::size_t level = 0; level < levels; ++level) {
        json += begin;
    }
    return json + value + std::string(levels, end);
}

std::string manyLeaves(std::size_t size)
{
    std::string json = R"({"system":{"k":0)";
    for (int i = 0; json.size() < size; ++i) {
        json += ",\"k" + std::to_string(i) + "\":" + std::to_string(i);
    }
    return json + "}}";
}

std::vector<Input> hostileInputs()
{
    return {
        {"none", std::nullopt},
        {"an empty text", ""},
        {"a word", "nonsense"},
        {"half an object", R"({"system":{"broadcast":)"},
        {"half a text", R"({"system":{"model":"x)"},
        {"a lone bracket", "["},
        {"a number", "5"},
        {"a boolean", "true"},
        {"a text", "\"text\""},
        {"an array", R"([{"system":{"broadcast":true}}])"},
        {"a null", "null"},
        {"objects 1,000 deep", nested(1'000, R"({"system":)", "true", '}')},
        {"objects 1,000 deep without an end", nested(1'000, R"({"system":)", "", ' ')},
        {"arrays 1,000 deep", nested(1'000, "[", "1", ']')},
        {"objects as deep as they may be", nested(31, R"({"system":)", "true", '}')},
        {"a megabyte of noise", std::string(kMegabyte, 'x')},
        {"a megabyte of blanks", std::string(kMegabyte, ' ')},
        {"a text of a megabyte", R"({"system":{"model":")" + std::string(kMegabyte, 'x') + "\"}}"},
        {"a key of a megabyte", R"({"system":{")" + std::string(kMegabyte, 'k') + "\":true}}"},
        {"a key of a kilobyte above the leaf", R"({")" + std::string(1'024, 'k') + R"(":{"broadcast":true}})"},
        {"keys of 511 and 512 bytes",
         R"({")" + std::string(511, 'k') + R"(":{"broadcast":true},")" + std::string(512, 'k') + "\":1}"},
        {"thousands of leaves", manyLeaves(kMegabyte / 10)},
        {"bytes that are no UTF-8", "\xff\xfe\x80\xc0\xaf"},
        {"a key that is no UTF-8", "{\"\xff\xfe\":{\"\x80\":true}}"},
        {"a text that is no UTF-8", "{\"system\":{\"model\":\"\xff\"}}"},
        {"a format", "%s%n%99999d"},
        {"keys that are formats", R"({"%s%n":{"%99999d":"%s"}})"},
        {"empty keys", R"({"":{"":true},"system":{"":1}})"},
        {"keys with dots and brackets", R"({"system.broadcast":true,"system":{"uart[1].x":2}})"},
        {"a number beyond all", R"({"system":{"broadcast":1e999,"x":99999999999999999999}})"},
        {"line ends", "\r\n\r\n"},
    };
}

// What a hostile input may have written to the line comes before.
void expectAnswering(ConsoleUnderTest& console, const std::string& after)
{
    const std::string replies = console.type("Nope\r").replies;
    EXPECT_TRUE(replies.ends_with("Command FAILED: (Nope)\r\n")) << "after " << after << ": " << replies;
}

class HostilePayloads : public testing::TestWithParam<std::tuple<bool, const char*>> {};
class HostileArguments : public testing::TestWithParam<std::tuple<bool, const char*>> {};

template <class Parameter>
std::string nameOf(const testing::TestParamInfo<Parameter>& info)
{
    return std::string(std::get<1>(info.param)) + (std::get<0>(info.param) ? "_internal" : "_external");
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(
    OnEveryTopic, HostilePayloads,
    testing::Combine(testing::Bool(),
                     testing::Values("controlUserConfigChanged", "configUserConfigChanged", "audioUserConfigChanged",
                                     "videoUserConfigChanged", "networkUserConfigChanged", "systemUserConfigChanged",
                                     "CommandFeedback", "videoStatusConfigChanged", "systemStatusConfigChanged",
                                     "controlStatusConfigChanged", "uartProjectorEvent", "UpgradeSlaveVersionQuery",
                                     "networkStatusConfigChanged")),
    nameOf<HostilePayloads::ParamType>);

TEST_P(HostilePayloads, leaveTheConsoleAnswering)
{
    const auto [internal, topic] = GetParam();
    play(internal, [topic = topic](ConsoleUnderTest& console) {
        console.givenSetting("system.broadcast", "true");
        console.givenStatus("system.slaveMcu.isReady", "true");
        console.start();
        for (const Input& input : hostileInputs()) {
            console.publish(topic, input.text);
            expectAnswering(console, input.name);
        }
    });
}

// Each leaf costs the broadcast two queries, with the record locked: slow, but it comes to an end.
TEST(HostilePayload, ofAMegabyteOfLeavesLeavesTheConsoleAnswering)
{
    for (const bool internal : {false, true}) {
        play(internal, [](ConsoleUnderTest& console) {
            console.givenSetting("system.broadcast", "true");
            console.givenStatus("system.slaveMcu.isReady", "true");
            console.start();
            console.publish("systemUserConfigChanged", manyLeaves(kMegabyte));
            expectAnswering(console, "a megabyte of leaves");
        });
    }
}

INSTANTIATE_TEST_SUITE_P(OfEveryMethod, HostileArguments,
                         testing::Values(std::tuple(false, "wpDispBtn"), std::tuple(true, "RS232zone"),
                                         std::tuple(true, "HDBTRS232Set"), std::tuple(true, "RS232zone900XPort")),
                         nameOf<HostileArguments::ParamType>);

TEST_P(HostileArguments, leaveTheConsoleAnswering)
{
    const auto [internal, method] = GetParam();
    play(internal, [method = method](ConsoleUnderTest& console) {
        console.start();
        for (const Input& input : hostileInputs()) {
            const Observed seen = console.call(method, input.text);
            EXPECT_LE(seen.replies.size(), 10'240U) << input.name;
            expectAnswering(console, input.name);
        }
    });
}
