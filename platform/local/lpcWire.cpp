#include "platform/local/lpcWire.h"

#include <algorithm>
#include <cerrno>

namespace local {

namespace {

constexpr const char* kPath = "/receiver/lpc";
constexpr const char* kInterface = "receiver.Lpc";
constexpr const char* kFailed = "receiver.Error.Failed";

// From the documentation of D-Bus, org.freedesktop.DBus.RequestName.
constexpr std::uint32_t kDoNotQueue = 4;
constexpr std::uint32_t kPrimaryOwner = 1;

constexpr std::string_view kNamePrefix = "receiver.lpc.";

std::string busName(const std::string& service)
{
    return std::string(kNamePrefix) + service;
}

std::string describe(std::string_view path, const std::vector<std::string>& methods)
{
    std::string xml = "<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\" "
                      "\"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n<node>\n";
    if (path == kPath) {
        xml += std::string(" <interface name=\"") + kInterface + "\">\n";
        for (const std::string& method : methods) {
            xml += "  <method name=\"" + method + "\"><arg type=\"s\" direction=\"in\"/></method>\n";
        }
        xml += " </interface>\n";
    } else if (path == "/") {
        xml += " <node name=\"receiver\"/>\n";
    } else if (path == "/receiver") {
        xml += " <node name=\"lpc\"/>\n";
    }
    return xml + "</node>\n";
}

}  // namespace

Connection openService(const std::string& service, int stopFd)
{
    const std::string name = busName(service);
    if (sd_bus_service_name_is_valid(name.c_str()) <= 0 || service.find('.') != std::string::npos) {
        errno = EINVAL;
        return nullptr;
    }
    Connection bus = openBus(stopFd);
    if (!bus) {
        return nullptr;
    }
    std::uint32_t outcome = 0;
    const int result = callDaemon(bus.get(), "RequestName", "su", name.c_str(), kDoNotQueue, &outcome);
    if (result < 0 || outcome != kPrimaryOwner) {
        errno = result < 0 ? -result : EEXIST;
        return nullptr;
    }
    return bus;
}

void closeService(const std::string& service, Connection connection)
{
    if (connection) {
        callDaemon(connection.get(), "ReleaseName", "s", busName(service).c_str(), 0, nullptr);
    }
}

bool takeCall(sd_bus_message* message, const std::vector<std::string>& methods, Known known, Call& call)
{
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0) {
        return false;
    }
    const char* method = sd_bus_message_get_member(message);
    const std::string_view path = sd_bus_message_get_path(message);
    const char* interface = sd_bus_message_get_interface(message);
    if (sd_bus_message_is_method_call(message, "org.freedesktop.DBus.Introspectable", "Introspect") > 0) {
        answerCall(message, describe(path, methods));
        return false;
    }
    if (path != kPath) {
        sd_bus_reply_method_errorf(message, SD_BUS_ERROR_UNKNOWN_OBJECT, "Unknown object, the methods are at %s",
                                   kPath);
        return false;
    }
    if (interface != nullptr && std::string_view(interface) != kInterface) {
        sd_bus_reply_method_errorf(message, SD_BUS_ERROR_UNKNOWN_INTERFACE, "Unknown interface %s", interface);
        return false;
    }
    if (known == Known::these && std::find(methods.begin(), methods.end(), method) == methods.end()) {
        sd_bus_reply_method_errorf(message, SD_BUS_ERROR_UNKNOWN_METHOD, "Unknown method %s", method);
        return false;
    }
    call.method = method;
    // An argument is a text, which holds no zero bytes.
    if (!readText(message, call.params) || (call.params && call.params->find('\0') != std::string::npos)) {
        sd_bus_reply_method_errorf(message, SD_BUS_ERROR_INVALID_ARGS, "One text (s or ay) or nothing is expected");
        return false;
    }
    return true;
}

bool peekCall(sd_bus_message* message, std::string& service, Call& call)
{
    const char* destination = sd_bus_message_get_destination(message);
    const char* path = sd_bus_message_get_path(message);
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0 || destination == nullptr || path == nullptr ||
        std::string_view(path) != kPath || !std::string_view(destination).starts_with(kNamePrefix)) {
        return false;
    }
    service = std::string_view(destination).substr(kNamePrefix.size());
    call.method = sd_bus_message_get_member(message);
    return readText(message, call.params);
}

int answerCall(sd_bus_message* call, const Text& data)
{
    sd_bus_message* created = nullptr;
    int result = sd_bus_message_new_method_return(call, &created);
    const Message answer(created);
    if (result >= 0) {
        result = appendText(created, data);
    }
    return result >= 0 ? sd_bus_send(sd_bus_message_get_bus(call), created, nullptr) : result;
}

int refuseCall(sd_bus_message* call, const char* why)
{
    return sd_bus_reply_method_errorf(call, kFailed, "%s", why);
}

int newCall(sd_bus* bus, const std::string& service, const std::string& method, std::optional<std::string_view> params,
            Message& message)
{
    const std::string name = busName(service);
    if (sd_bus_service_name_is_valid(name.c_str()) <= 0 || sd_bus_member_name_is_valid(method.c_str()) <= 0) {
        return -EINVAL;
    }
    sd_bus_message* created = nullptr;
    int result = sd_bus_message_new_method_call(bus, &created, name.c_str(), kPath, kInterface, method.c_str());
    message.reset(created);
    if (result >= 0) {
        result = sd_bus_message_set_auto_start(created, 0);  // a missing service answers at once
    }
    return result >= 0 ? appendText(created, params) : result;
}

}  // namespace local
