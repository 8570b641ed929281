// The device's place in the network: addresses, telnet port, time-out and login. The host name is a bounded text.
#pragma once

#include "console/commandEntry.h"

int ipConfigurationCommand(const char* line, const char* name, const char* args, int fromEvent,
                           const char* jsonTemplate);
int staticAddressCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int dhcpCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int telnetPortCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int telnetTimeoutCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int telnetLoginCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);
int readHostNameCommand(const char* line, const char* name, const char* args, int fromEvent, const char* jsonTemplate);

// Reporters that do more than print, or print a piece of a line.
namespace report {

/// "STATIC" prints "off", "DHCP" prints "on", in any case of letters.
void dhcp(const char* name, const ReportValue& value);
/// As onOff; then the telnet sessions are ended.
void login(const char* name, const ReportValue& value);
/// Asks the network daemon to restart telnet at the port, then prints the number.
void portNumber(const char* name, const ReportValue& value);
// Three pieces of one line.
void ipAddress(const char* name, const ReportValue& value);
void ipNetmask(const char* name, const ReportValue& value);
void ipGateway(const char* name, const ReportValue& value);

}  // namespace report
