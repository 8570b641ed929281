#include "console/reporters.h"

#include <string_view>

#include "serial/replyWriter.h"

namespace report {

void number(const char* name, const ReportValue& value)
{
    uartReply("%s %d\r\n", name, value.number());
}

void text(const char* name, const ReportValue& value)
{
    uartReply("%s %s\r\n", name, value.text());
}

void silent(const char* /*name*/, const ReportValue& /*value*/)
{
}

void onOff(const char* name, const ReportValue& value)
{
    if (!value.isText() && (value.number() == 0 || value.number() == 1)) {
        uartReply("%s %s\r\n", name, value.number() == 1 ? "on" : "off");
    }
}

void offOn(const char* name, const ReportValue& value)
{
    if (!value.isText() && (value.number() == 0 || value.number() == 1)) {
        uartReply("%s %s\r\n", name, value.number() == 1 ? "off" : "on");
    }
}

void hdcp(const char* name, const ReportValue& value)
{
    const std::string_view mode(value.text());
    if (mode == "compliant") {
        uartReply("%s %s\r\n", name, "on");
    } else if (mode == "non-compliant") {
        uartReply("%s %s\r\n", name, "off");
    }
}

void lock(const char* /*name*/, const ReportValue& value)
{
    if (!value.isText() && (value.number() == 0 || value.number() == 1)) {
        uartReply("%s\r\n", value.number() == 1 ? "Lock" : "Unlock");
    }
}

void timeout(const char* name, const ReportValue& value)
{
    if (value.number() == 0) {
        uartReply("%s %s\r\n", name, "never");
    } else {
        uartReply("%s %d\r\n", name, value.number());
    }
}

void label(const char* name, const ReportValue& value)
{
    uartReply("%s[%s]\r\n", name, value.text());
}

void usbRoute(const char* name, const ReportValue& value)
{
    const std::string_view host(value.text());
    if (host == "local") {
        uartReply("%s local\r\n", name);
    } else if (host == "remote") {
        uartReply("%s remote\r\n", name);
    }
}

void trigger(const char* name, const ReportValue& value)
{
    if (*value.text() != '\0') {
        uartReply("%s\r\n", name);
    }
}

void nameOnly(const char* name, const ReportValue& /*value*/)
{
    uartReply("%s\r\n", name);
}

}  // namespace report
