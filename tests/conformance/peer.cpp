// The second program of the suite. It speaks to the platform through the seam alone; most verbs wait for the end of
// their standard input, so that a test decides when they go on.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "platform/eventBus.h"
#include "platform/logger.h"
#include "platform/lpc.h"
#include "platform/store.h"

#include "patientUpdate.h"

namespace {

using Words = std::vector<std::string>;

void say(const std::string& line)
{
    const std::string whole = line + '\n';
    if (::write(STDOUT_FILENO, whole.data(), whole.size()) < 0) {
        std::exit(3);
    }
}

void waitForGo()
{
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) > 0) {
    }
}

int update(const std::string& store, const std::string& document)
{
    return updateAmongOthers([&] {
        return store == "Settings" ? user_config_update(document.c_str()) : user_status_update(document.c_str());
    });
}

// update STORE DOCUMENT: says ready, waits for the go, updates.
int updateOnce(const Words& words)
{
    say("ready");
    waitForGo();
    return update(words[0], words[1]) == 0 ? 0 : 1;
}

// count STORE KEY TIMES: sets race.KEY to 1, 2, ...; says each number once its update has returned. 0 times: for ever.
int count(const Words& words)
{
    const int times = std::stoi(words[2]);
    for (int i = 1; times == 0 || i <= times; ++i) {
        const std::string number = std::to_string(i);
        if (update(words[0],
                   R"({"race":{")" + words[1] + "\":" + number + ",\"" + words[1] + "Twin\":" + number + "}}") != 0) {
            std::perror("update");
            return 1;
        }
        say(number);
    }
    return 0;
}

// publish TOPIC TIMES: payloads 1, 2, ...
int publish(const Words& words)
{
    const int times = std::stoi(words[1]);
    for (int i = 1; i <= times; ++i) {
        if (eventbus_publish(words[0].c_str(), std::to_string(i).c_str()) != 0) {
            return 1;
        }
    }
    return 0;
}

// call SERVICE METHOD [TEXT]: says the outcome.
int call(const Words& words)
{
    const int result =
        lpc_proxy_call(words[0].c_str(), words[1].c_str(), words.size() > 2 ? words[2].c_str() : nullptr);
    say(result == 0 ? "completed" : "failed");
    return 0;
}

std::string hex(const char* text)
{
    std::string digits;
    for (; *text != '\0'; ++text) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned>(static_cast<unsigned char>(*text)));
        digits += pair;
    }
    return digits;
}

int sayAndComplete(void* /*unused*/, lpc_request* request)
{
    const char* params = lpc_request_params(request);
    say(params != nullptr ? "text " + hex(params) : "null");
    return lpc_request_completed(request);
}

int forget(void* /*unused*/, lpc_request* /*unused*/)
{
    return 0;
}

// Answers once the test says so, by a line on standard input.
int completeLater(void* /*unused*/, lpc_request* request)
{
    say("called");
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) > 0 && byte != '\n') {
    }
    return lpc_request_completed(request);
}

int die(void* /*unused*/, lpc_request* /*unused*/)
{
    std::_Exit(0);
}

// serve SERVICE: says ready; the methods are those below. Ends with its input.
int serve(const Words& words)
{
    const lpc_method methods[] = {
        {"say", sayAndComplete}, {"forget", forget}, {"completeLater", completeLater}, {"die", die}};
    lpc_service* service = lpc_service_create(words[0].c_str(), methods, std::size(methods), nullptr);
    if (service == nullptr) {
        say("refused");
        return 1;
    }
    say("ready");
    pollfd waiting[] = {{.fd = lpc_service_fileno(service), .events = POLLIN, .revents = 0},
                        {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0}};
    while (::poll(waiting, 2, -1) > 0 && waiting[1].revents == 0) {
        if (lpc_service_on_connect(service) != 0) {
            say("lost");
        }
    }
    lpc_service_destroy(service);
    return 0;
}

// log: a message at each level that is on.
int log(const Words& /*unused*/)
{
    for (int level = 0; level < LOG_LEVEL_COUNT; ++level) {
        if (__logLevels[level] != 0) {
            __printLog(level, "level %d", level);
            __printLog(level, "%s %d\n", "again", level);
        }
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::map<std::string, std::function<int(const Words&)>> verbs = {
        {"update", updateOnce}, {"count", count}, {"publish", publish}, {"call", call}, {"serve", serve}, {"log", log}};
    const auto verb = argc > 1 ? verbs.find(argv[1]) : verbs.end();
    return verb != verbs.end() ? verb->second(Words(argv + 2, argv + argc)) : 2;
}
