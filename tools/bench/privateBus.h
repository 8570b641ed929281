// A bus of the bench's own: nobody else's events and services are on it, and it starts none by itself.
#pragma once

#include <memory>
#include <string>

#include "bench/childProcess.h"
#include "bench/workspace.h"

class PrivateBus {
public:
    /// Returns once the bus takes connections. Throws Refused.
    explicit PrivateBus(const Workspace& workspace);

    /// The value for DBUS_SESSION_BUS_ADDRESS.
    [[nodiscard]] const std::string& address() const { return address_; }
    [[nodiscard]] ChildProcess& process() { return *process_; }

private:
    std::string address_;
    std::unique_ptr<ChildProcess> process_;
};
