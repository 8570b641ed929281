// Requests to the methods of both services. The first byte is the role, then come instructions (daemonUnderTest.h) and
// requests: a letter, 'a' for the service's first method, and the argument up to a zero byte. A capital letter sends no
// argument at all.
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/serviceEndpoints.h"
#include "fuzz/daemonUnderTest.h"
#include "fuzz/pretendSystem.h"
#include "fuzz/require.h"
#include "platform/lpc.h"

namespace {

constexpr std::size_t kMostRequests = 4;  // in one input: a short one is run sooner

struct Request {
    const char* params;
    int completed = 0;
};

struct Method {
    std::string name;
    lpc_method_handler handler;
};

struct Service {
    std::vector<Method> methods;
    void* context = nullptr;
};

Service* g_created = nullptr;

Request& requestOf(lpc_request* request)
{
    return *reinterpret_cast<Request*>(request);
}

Service& serviceOf(DaemonUnderTest& daemon)
{
    static Service& external = *new Service;
    static Service& internal = *new Service;
    Service& service = daemon.record().sourceType == kInternalHdbtLink ? internal : external;
    if (service.methods.empty()) {
        g_created = &service;
        createService(daemon.record());
        require(service.methods.size() == (&service == &internal ? 4 : 2), "each role has its methods");
    }
    return service;
}

int hexDigit(char digit)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    const std::size_t at = kDigits.find(digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit);
    return at != std::string_view::npos ? static_cast<int>(at) : -1;
}

// Hex pieces as bytes, the last two digits counting; a piece with another character is a zero byte.
std::string bytesOf(std::string_view text)
{
    constexpr std::size_t kCounted = 255;
    std::string bytes;
    std::string piece;
    for (const char character : std::string(text.substr(0, kCounted)) + ' ') {
        if (character != ' ') {
            piece += character;
            continue;
        }
        if (!piece.empty()) {
            int value = 0;
            for (const char digit : piece) {
                if (hexDigit(digit) < 0) {
                    value = 0;
                    break;
                }
                value = (value * 16 + hexDigit(digit)) & 0xFF;
            }
            bytes += static_cast<char>(value);
        }
        piece.clear();
    }
    return bytes;
}

void call(const Service& service, const Method& method, const char* params)
{
    DaemonUnderTest& daemon = DaemonUnderTest::instance();
    ConsoleParameter& record = daemon.record();
    const bool sound = daemon.lineIsSound();
    Request request{.params = params};
    pretend::takeReplies();
    {
        const pretend::DaemonScope scope;
        const RecordLock lock(record.mutex);
        method.handler(service.context, reinterpret_cast<lpc_request*>(&request));
    }
    const std::string reply = pretend::takeReplies();
    daemon.check();
    require(request.completed == 1, "a request is completed once", method.name);
    const std::string_view text = params != nullptr ? params : "";
    if (sound && method.name == "RS232zone") {
        require(reply == text, "a text passes as it is", text);
    }
    if (sound && method.name == "RS232zone900XPort") {
        require(reply == bytesOf(text), "hex pieces pass as bytes", text);
    }
    if (method.name == "HDBTRS232Set" && text == "default") {
        require(record.hdbt_baudrate == 115'200 && record.hdbt_datalen == 8 && record.hdbt_parity == 0 &&
                    record.hdbt_stop == 1,
                "the link's default is 115200 8N1");
    }
}

}  // namespace

extern "C" {

lpc_service* __wrap_lpc_service_create(const char* /*name*/, const lpc_method* methods, size_t count, void* context)
{
    for (size_t i = 0; i < count; ++i) {
        g_created->methods.push_back({methods[i].name, methods[i].handler});
    }
    g_created->context = context;
    return nullptr;
}

const char* __wrap_lpc_request_params(lpc_request* request)
{
    return requestOf(request).params;
}

int __wrap_lpc_request_completed(lpc_request* request)
{
    ++requestOf(request).completed;
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    DaemonUnderTest& daemon = DaemonUnderTest::instance();
    ByteReader input(bytes, size);
    daemon.takeRole(input.next());
    const Service& service = serviceOf(daemon);
    for (std::size_t count = 0; count < kMostRequests && !input.empty(); ++count) {
        daemon.instructAll(input);
        const char letter = input.next();
        const bool absent = letter >= 'A' && letter <= 'D';
        const Method& method =
            service.methods[static_cast<unsigned char>(letter - (absent ? 'A' : 'a')) % service.methods.size()];
        const std::string params = absent ? std::string() : input.text();
        call(service, method, absent ? nullptr : params.c_str());
    }
    daemon.heal();
    daemon.takeRole('e');  // opens the line again where a request could not
    daemon.finish();
    return 0;
}

}  // extern "C"
