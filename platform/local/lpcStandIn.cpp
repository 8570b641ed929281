// A service whose answers are made up by the caller.
#include <cerrno>

#include "platform/local/local.h"
#include "platform/local/lpcWire.h"

namespace local {

bool isMethodName(const std::string& name)
{
    return sd_bus_member_name_is_valid(name.c_str()) > 0;
}

int serveMethods(const std::string& service, const std::vector<std::string>& methods, int stopFd,
                 const std::function<void()>& ready, const std::function<Answer(const Request&)>& answer)
{
    Connection bus = openService(service, stopFd);
    if (!bus) {
        return errno == ECANCELED ? 0 : -1;
    }
    ready();
    const Known known = methods.empty() ? Known::all : Known::these;
    while (true) {
        sd_bus_message* received = nullptr;
        const int result = sd_bus_process(bus.get(), &received);
        const Message message(received);
        if (result < 0 || (received != nullptr && isDisconnection(received))) {
            return failWith(ECONNRESET);
        }
        Call call;
        if (received != nullptr && takeCall(received, methods, known, call)) {
            const Answer given = answer({.method = std::move(call.method), .params = std::move(call.params)});
            if (given.failed) {
                refuseCall(received, "The stand-in was told to fail");
            } else if (answerCall(received, given.data) < 0) {
                refuseCall(received, "The answer cannot be sent");
            }
        }
        // Under a flood, too, a glance at stopFd after each message.
        if (waitForBus(bus.get(), result > 0 ? 0 : kForever, stopFd) < 0) {
            if (errno != ECANCELED) {
                return -1;
            }
            flushBus(bus.get(), monotonicUs() + kPatienceUs);
            closeService(service, std::move(bus));
            return 0;
        }
    }
}

}  // namespace local
