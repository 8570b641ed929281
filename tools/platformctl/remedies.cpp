#include "platformctl/remedies.h"

#include <cerrno>
#include <cstdlib>

namespace {

/// Where the bus is looked for, and what named it.
std::string busPlace()
{
    for (const char* variable : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"}) {
        const char* address = std::getenv(variable);
        if (address != nullptr && *address != '\0') {
            return std::string(address) + " (" + variable + ")";
        }
    }
    return "unix:path=/run/dbus/system_bus_socket (the system bus)";
}

}  // namespace

std::string storeRemedy(int error)
{
    switch (error) {
    case EBUSY: return "another writer held it for 5 s; try again once that one is done";
    case ENOSPC:
    case EDQUOT: return "make room there; PLATFORM=local:DIR names another place";
    case EACCES:
    case EPERM:
    case EROFS:
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP: return "PLATFORM=local:DIR names another place, a directory that is yours or can be made";
    default: return {};
    }
}

std::string busRemedy(int error)
{
    switch (error) {
    case EMSGSIZE: return "a text has at most 33550336 bytes";
    case EACCES:
    case EPERM:
        return "the bus at " + busPlace() +
               " does not allow it; on a receiver, members of the group receiver may publish, watch and call";
    case EINVAL:
        return busPlace() + " is no address of a bus; set DBUS_SESSION_BUS_ADDRESS as receiver-bench prints it";
    case ENOENT:
    case ENOTDIR:
    case ECONNREFUSED:
    case ECONNRESET:
    case ENOTCONN:
    case EPIPE:
    case ETIMEDOUT:
        return "no bus answers at " + busPlace() + "; set DBUS_SESSION_BUS_ADDRESS as receiver-bench prints it";
    default: return {};
    }
}
