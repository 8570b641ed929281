#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <poll.h>
#include <string_view>
#include <unistd.h>

#include "platform/lpc.h"
#include "platformctl/output.h"
#include "platformctl/remedies.h"
#include "platformctl/verbs.h"
#include "support/failure.h"
#include "support/jsonText.h"
#include "support/readAll.h"
#include "support/stopSignals.h"

namespace verbs {
namespace {

constexpr int kAnswerTimeMs = 3000;
constexpr int kRetryMs = 1000;  // between two attempts to come back to the bus
constexpr char kReadyLine[] = R"({"ready":true})";

constexpr char kServiceGrammar[] = "is no service; a service is a letter, _ or -, then letters, digits, _ or -";
constexpr char kMethodGrammar[] = "is no method; a method is a letter or _, then letters, digits or _, at most 255";
constexpr std::size_t kLongestTopic = 200;
constexpr std::size_t kLongestService = 255 - std::string_view("receiver.lpc.").size();  // of a bus name

[[noreturn]] void refuse(const std::string& what, int error)
{
    const std::string remedy = busRemedy(error);
    throw Refused(what + ": " + std::strerror(error) + (remedy.empty() ? "" : "; " + remedy));
}

bool startsWithDigit(const std::string& name)
{
    return !name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) != 0;
}

/// The engine also takes a digit first, which the bus does not.
bool isMethodName(const std::string& name)
{
    return local::isMethodName(name) && !startsWithDigit(name);
}

bool isTopicName(const std::string& name)
{
    return isMethodName(name) && name.size() <= kLongestTopic;  // the bus has one grammar for both
}

bool isServiceName(const std::string& name)
{
    const auto fits = [](unsigned char byte) { return std::isalnum(byte) != 0 || byte == '_' || byte == '-'; };
    return !name.empty() && name.size() <= kLongestService && !startsWithDigit(name) &&
           std::all_of(name.begin(), name.end(), fits);
}

std::string callFailure(int error)
{
    switch (error) {
    case EHOSTUNREACH: return "no such service runs on this bus";
    case ENOSYS: return "the service has no such method";
    case EIO: return "the service answered with an error";
    case ETIMEDOUT: return "no answer within 3 s";
    case EACCES: return std::string(std::strerror(error)) + "; " + busRemedy(error);
    case ECONNRESET: return std::string(std::strerror(error)) + "; the service or the bus ended before it answered";
    default: return std::strerror(error);
    }
}

std::string textOrNull(const std::optional<std::string>& text)
{
    return text ? jsonString(*text) : "null";
}

struct DestroyCompletion {
    void operator()(lpc_completion* completion) const { lpc_completion_destroy(completion); }
};
using Completion = std::unique_ptr<lpc_completion, DestroyCompletion>;

struct ServeOptions {
    std::string service;
    std::vector<std::string> methods;
    local::Answer answer;
    int delayMs = 0;
};

int milliseconds(const std::string& text)
{
    int value = -1;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < 0) {
        throw WrongUsage("--delay takes a number of milliseconds, 0 to " + std::to_string(INT_MAX) + ", not '" + text +
                         "'");
    }
    return value;
}

/// One line on standard error that is no failure.
void note(const std::string& text)
{
    std::fprintf(stderr, "platformctl: %s\n", text.c_str());
}

/// Waits; true when the program was told to end.
bool stopsWithin(int stopFd, int waitMs)
{
    pollfd stopped{.fd = stopFd, .events = POLLIN, .revents = 0};
    return poll(&stopped, 1, waitMs) > 0;
}

[[noreturn]] void refuseService(const std::string& service, int error)
{
    if (error == EEXIST) {
        throw Refused("the service '" + service + "' is already served by another process; end that, or name another");
    }
    refuse("the service '" + service + "' cannot be served", error);
}

ServeOptions parseServe(const Words& words)
{
    ServeOptions options;
    bool named = false;
    bool optionsEnded = false;
    for (auto word = words.begin(); word != words.end(); ++word) {
        const auto value = [&](const std::string& option) -> std::optional<std::string> {
            if (word->starts_with(option + "=")) {
                return word->substr(option.size() + 1);
            }
            if (*word != option) {
                return std::nullopt;
            }
            if (std::next(word) == words.end()) {
                throw WrongUsage(option + (option == "--reply" ? " takes the TEXT to send back"
                                                               : " takes a number of milliseconds"));
            }
            return *++word;
        };
        if (optionsEnded || !word->starts_with("-")) {
            if (named) {
                options.methods.push_back(*word);
            } else {
                options.service = *word;
                named = true;
            }
        } else if (*word == "--") {
            optionsEnded = true;
        } else if (const auto text = value("--reply")) {
            options.answer.data = *text;
        } else if (const auto delay = value("--delay")) {
            options.delayMs = milliseconds(*delay);
        } else if (*word == "--fail") {
            options.answer.failed = true;
        } else {
            throw WrongUsage("lpc serve has no option '" + *word + "'; it takes --reply TEXT, --fail and --delay MS");
        }
    }
    if (!named) {
        throw WrongUsage("lpc serve takes SERVICE [METHOD...] [--reply TEXT] [--fail] [--delay MS]");
    }
    for (const std::string& method : options.methods) {
        if (!isMethodName(method)) {
            throw Refused("'" + method + "' " + kMethodGrammar);
        }
    }
    if (!isServiceName(options.service)) {
        throw Refused("'" + options.service + "' " + kServiceGrammar);
    }
    return options;
}

}  // namespace

void publishEvent(const Words& words)
{
    std::string text;
    std::optional<std::string_view> payload;
    if (words.size() > 1) {
        text = words[1] == "-" ? readAll(STDIN_FILENO) : words[1];
        payload = text;
    }
    if (!isTopicName(words[0])) {
        throw Refused("'" + words[0] +
                      "' is no topic; a topic is a letter or _, then letters, digits or _, at most 200");
    }
    if (local::publishBytes(words[0], payload) != 0) {
        refuse("the event cannot be published", errno);
    }
}

void watchEvents(const Words& words)
{
    const UniqueFd stop = stopDescriptor({SIGTERM, SIGINT});
    const LineOutput output(stop.get());
    const auto ready = [&] { output.print(kReadyLine); };
    const auto print = [&](const local::Event& event) {
        output.print(printableJson("{\"topic\":" + jsonString(event.topic) + ",\"payload\":" +
                                   textOrNull(event.payload) + ",\"from\":" + jsonString(event.from) + "}"));
    };
    if (!std::all_of(words.begin(), words.end(), isTopicName)) {
        throw Refused("no such topic can be; a topic is a letter or _, then letters, digits or _, at most 200");
    }
    if (local::watchEvents(words, stop.get(), ready, print) != 0) {
        refuse("the event bus is missing or went away", errno);
    }
}

void callMethod(const Words& words)
{
    const std::string called = words[0] + " " + words[1];
    if (!isServiceName(words[0])) {
        throw Refused(called + " cannot be called: '" + words[0] + "' " + kServiceGrammar);
    }
    if (!isMethodName(words[1])) {
        throw Refused(called + " cannot be called: '" + words[1] + "' " + kMethodGrammar);
    }
    const Completion completion(
        lpc_proxy_call_with_reply(words[0].c_str(), words[1].c_str(), words.size() > 2 ? words[2].c_str() : nullptr));
    if (!completion) {
        refuse(called + " cannot be called", errno);
    }
    if (lpc_completion_wait(completion.get(), kAnswerTimeMs) != 0) {
        throw Refused(called + " failed: " + callFailure(errno));
    }
    if (const char* data = lpc_completion_data(completion.get())) {
        printLine(data);
    }
}

void serveMethods(const Words& words)
{
    const ServeOptions options = parseServe(words);
    const UniqueFd stop = stopDescriptor({SIGTERM, SIGINT});
    const LineOutput output(stop.get());
    bool ever = false;
    bool serving = false;
    const auto ready = [&] {
        if (ever) {
            note("the bus is back; the service '" + options.service + "' is served again");
        } else {
            output.print(kReadyLine);
        }
        ever = serving = true;
    };
    const auto answer = [&](const local::Request& request) {
        output.print(printableJson("{\"service\":" + jsonString(options.service) + ",\"method\":" +
                                   jsonString(request.method) + ",\"params\":" + textOrNull(request.params) + "}"));
        if (options.delayMs > 0) {
            stopsWithin(stop.get(), options.delayMs);  // cut short when the service is told to end
        }
        return options.answer;
    };
    while (local::serveMethods(options.service, options.methods, stop.get(), ready, answer) != 0) {
        const int error = errno;
        if (!ever) {
            refuseService(options.service, error);
        }
        if (serving) {
            note("the bus went away; the service '" + options.service + "' is served again once it is back");
            serving = false;
        }
        if (stopsWithin(stop.get(), kRetryMs)) {
            break;
        }
    }
}

}  // namespace verbs
