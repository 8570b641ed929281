#include <cerrno>
#include <memory>

#include "platform/local/lpcWire.h"
#include "platform/local/threadBus.h"
#include "platform/lpc.h"

struct lpc_completion {
    // The connection is kept as long as the answer is awaited, even when the thread has made itself a new one. The
    // slot goes first.
    struct Unref {
        void operator()(sd_bus* connection) const { sd_bus_unref(connection); }
    };
    std::unique_ptr<sd_bus, Unref> bus;
    local::Slot slot;
    bool answered = false;
    int error = 0;
    local::Text data;
};

namespace local {

namespace {

// Errors by name, as the bus or a service gives them.
int errorOf(sd_bus_message* answer)
{
    const sd_bus_error* error = sd_bus_message_get_error(answer);
    static constexpr struct {
        const char* name;
        int error;
    } kErrors[] = {
        {SD_BUS_ERROR_SERVICE_UNKNOWN, EHOSTUNREACH}, {SD_BUS_ERROR_NAME_HAS_NO_OWNER, EHOSTUNREACH},
        {SD_BUS_ERROR_UNKNOWN_METHOD, ENOSYS},        {SD_BUS_ERROR_UNKNOWN_INTERFACE, ENOSYS},
        {SD_BUS_ERROR_UNKNOWN_OBJECT, ENOSYS},        {SD_BUS_ERROR_ACCESS_DENIED, EACCES},
        {SD_BUS_ERROR_INVALID_ARGS, EINVAL},          {SD_BUS_ERROR_NO_REPLY, ECONNRESET},  // the service ended
    };
    for (const auto& [name, number] : kErrors) {
        if (sd_bus_error_has_name(error, name) > 0) {
            return number;
        }
    }
    return EIO;
}

int onAnswer(sd_bus_message* answer, void* context, sd_bus_error* /*unused*/)
{
    auto* completion = static_cast<lpc_completion*>(context);
    completion->answered = true;
    if (sd_bus_message_is_method_error(answer, nullptr) > 0) {
        completion->error = errorOf(answer);
    } else {
        readText(answer, completion->data);  // an answer of another make is one without text
    }
    return 1;
}

std::unique_ptr<lpc_completion> start(const char* service, const char* method, const char* params,
                                      std::uint64_t deadlineUs)
{
    if (service == nullptr || method == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    auto completion = std::make_unique<lpc_completion>();
    const int sent = ThreadBus::ofThread().send([&](sd_bus* bus) {
        Message call;
        int result = newCall(bus, service, method,
                             params != nullptr ? std::optional<std::string_view>(params) : std::nullopt, call);
        if (result < 0) {
            return result;
        }
        completion->slot.reset();
        completion->bus.reset(sd_bus_ref(bus));
        sd_bus_slot* slot = nullptr;
        result = sd_bus_call_async(bus, &slot, call.get(), onAnswer, completion.get(), UINT64_MAX);
        completion->slot.reset(slot);
        return result >= 0 ? flushBus(bus, deadlineUs) : result;
    });
    return sent == 0 ? std::move(completion) : nullptr;
}

// 0, or -1 with errno set.
int await(lpc_completion& completion, std::uint64_t deadlineUs)
{
    while (!completion.answered) {
        const int result = sd_bus_process(completion.bus.get(), nullptr);
        if (completion.answered) {
            break;
        }
        if (result < 0) {
            return failWith(ECONNRESET);
        }
        if (result == 0) {
            const int waited = waitForBus(completion.bus.get(), deadlineUs);
            if (waited <= 0) {
                return waited == 0 ? failWith(ETIMEDOUT) : -1;
            }
        }
    }
    return completion.error == 0 ? 0 : failWith(completion.error);
}

}  // namespace

}  // namespace local

int lpc_proxy_call(const char* service, const char* method, const char* params)
{
    const std::uint64_t deadline = local::monotonicUs() + local::kPatienceUs;
    const auto completion = local::start(service, method, params, deadline);
    return completion ? local::await(*completion, deadline) : -1;
}

lpc_completion* lpc_proxy_call_with_reply(const char* service, const char* method, const char* params)
{
    return local::start(service, method, params, local::monotonicUs() + local::kPatienceUs).release();
}

int lpc_completion_wait(lpc_completion* completion, int milliseconds)
{
    if (completion == nullptr) {
        return local::failWith(EINVAL);
    }
    const auto us = milliseconds > 0 ? static_cast<std::uint64_t>(milliseconds) * 1'000U : 0U;
    return local::await(*completion, local::monotonicUs() + us);
}

const char* lpc_completion_data(lpc_completion* completion)
{
    return completion != nullptr && completion->data ? completion->data->c_str() : nullptr;
}

void lpc_completion_destroy(lpc_completion* completion)
{
    const std::unique_ptr<lpc_completion> owned(completion);
}
