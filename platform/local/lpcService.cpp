#include <cerrno>
#include <csignal>
#include <memory>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <string>
#include <sys/eventfd.h>
#include <vector>

#include "platform/local/busDescriptor.h"
#include "platform/local/lpcWire.h"
#include "platform/lpc.h"

struct lpc_request {
    sd_bus_message* message;
    local::Text params;
    bool completed = false;
};

namespace local {

namespace {

constexpr int kRetryMilliseconds = 1'000;
// Messages looked at in one call in search of a request: the bus sends a few of its own.
constexpr int kBatch = 64;

// Takes a lost service's name again: a thread that tries once a second until the bus is back, and ends.
class Reconnector {
public:
    /// False with errno set.
    bool prepare()
    {
        stop_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        return static_cast<bool>(stop_);
    }

    // Raises the descriptor once take() has something, and in a while when the thread does not start: then it is to be
    // started again.
    void start(const std::string& service, BusDescriptor& descriptor)
    {
        service_ = &service;
        descriptor_ = &descriptor;
        // The engine's threads take no signals: these are for the threads of the program.
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        running_ = pthread_create(&thread_, nullptr, &Reconnector::entry, this) == 0;
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        if (!running_) {
            descriptor.raiseIn(kRetryMilliseconds);
        }
    }

    [[nodiscard]] bool running() const { return running_; }

    void stop()
    {
        if (running_) {
            eventfd_write(stop_.get(), 1);
            join();
        }
    }

    // The new connection, once there is one; then the thread is gone.
    Connection take()
    {
        Connection taken;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            taken = std::move(made_);
        }
        if (taken) {
            join();
        }
        return taken;
    }

private:
    static void* entry(void* self)
    {
        static_cast<Reconnector*>(self)->run();
        return nullptr;
    }

    void run()
    {
        while (true) {
            Connection connection = openService(*service_, stop_.get());
            if (connection) {
                const std::lock_guard<std::mutex> lock(mutex_);
                made_ = std::move(connection);
                descriptor_->raise();
                return;
            }
            pollfd waiting{.fd = stop_.get(), .events = POLLIN, .revents = 0};
            if (::poll(&waiting, 1, kRetryMilliseconds) != 0) {
                return;  // no signal reaches this thread: it is the stop
            }
        }
    }

    void join()
    {
        pthread_join(thread_, nullptr);
        running_ = false;
    }

    const std::string* service_ = nullptr;
    BusDescriptor* descriptor_ = nullptr;
    UniqueFd stop_;
    pthread_t thread_{};
    bool running_ = false;
    std::mutex mutex_;
    Connection made_;
};

}  // namespace

}  // namespace local

struct lpc_service {
    std::string name;
    std::vector<std::string> methods;
    std::vector<lpc_method_handler> handlers;
    void* context = nullptr;
    local::BusDescriptor descriptor;
    local::Connection connection;  // null while the bus is away
    local::Reconnector reconnector;

    int lose()
    {
        descriptor.detach();
        connection.reset();
        descriptor.quieten();
        reconnector.start(name, descriptor);
        return local::failWith(ECONNRESET);
    }

    bool comeBack()
    {
        connection = reconnector.take();
        if (connection && !descriptor.attach(connection.get())) {
            lose();
        } else if (!connection && !reconnector.running()) {
            descriptor.quieten();
            reconnector.start(name, descriptor);
        }
        return connection != nullptr;
    }

    void serve(sd_bus_message* message, local::Call call)
    {
        std::size_t index = 0;
        while (methods[index] != call.method) {
            ++index;
        }
        lpc_request request{.message = message, .params = std::move(call.params)};
        handlers[index](context, &request);
        if (!request.completed) {
            local::refuseCall(message, "The method did not complete the request");
        }
    }

    // False when the connection is lost.
    bool serveOne()
    {
        for (int count = 0; count < local::kBatch; ++count) {
            sd_bus_message* received = nullptr;
            const int result = sd_bus_process(connection.get(), &received);
            const local::Message message(received);
            if (result < 0 || (received != nullptr && local::isDisconnection(received))) {
                return false;
            }
            if (result == 0) {
                break;
            }
            local::Call call;
            if (received != nullptr && local::takeCall(received, methods, local::Known::these, call)) {
                serve(received, std::move(call));
                break;
            }
        }
        return true;
    }
};

lpc_service* lpc_service_create(const char* name, const lpc_method* methods, size_t count, void* context)
{
    if (name == nullptr || (methods == nullptr && count > 0)) {
        errno = EINVAL;
        return nullptr;
    }
    auto service = std::make_unique<lpc_service>();
    service->name = name;
    service->context = context;
    for (size_t i = 0; i < count; ++i) {
        if (methods[i].name == nullptr || methods[i].handler == nullptr) {
            errno = EINVAL;
            return nullptr;
        }
        service->methods.emplace_back(methods[i].name);
        service->handlers.push_back(methods[i].handler);
    }
    service->connection = local::openService(service->name);
    if (!service->connection || !service->reconnector.prepare() || !service->descriptor.open() ||
        !service->descriptor.attach(service->connection.get())) {
        return nullptr;
    }
    return service.release();
}

int lpc_service_fileno(lpc_service* service)
{
    return service != nullptr ? service->descriptor.fd() : local::failWith(EINVAL);
}

int lpc_service_on_connect(lpc_service* service)
{
    if (service == nullptr) {
        return local::failWith(EINVAL);
    }
    if (!service->connection && !service->comeBack()) {
        return 0;
    }
    if (!service->serveOne()) {
        return service->lose();
    }
    service->descriptor.update();
    return 0;
}

void lpc_service_destroy(lpc_service* service)
{
    if (service == nullptr) {
        return;
    }
    const std::unique_ptr<lpc_service> owned(service);
    service->reconnector.stop();
    service->descriptor.detach();
    local::closeService(service->name, std::move(service->connection));
}

const char* lpc_request_params(lpc_request* request)
{
    return request != nullptr && request->params ? request->params->c_str() : nullptr;
}

int lpc_request_completed(lpc_request* request)
{
    if (request == nullptr || request->completed) {
        return local::failWith(EINVAL);
    }
    request->completed = true;
    const int result = local::answerCall(request->message, std::nullopt);
    return result >= 0 ? 0 : local::failWith(-result);
}
