// Status reporters: print a row's name and a given value in reply form. Those here read no store; reporters that do
// stand with their commands. The listener's thread calls them with the record's mutex held.
#pragma once

#include "console/commandEntry.h"

namespace report {

void number(const char* name, const ReportValue& value);
void text(const char* name, const ReportValue& value);
void silent(const char* name, const ReportValue& value);
/// 1 prints "on", 0 "off", anything else nothing.
void onOff(const char* name, const ReportValue& value);
/// The same with the words swapped.
void offOn(const char* name, const ReportValue& value);
/// "compliant" prints "on", "non-compliant" prints "off".
void hdcp(const char* name, const ReportValue& value);
/// 1 prints "Lock", 0 "Unlock".
void lock(const char* name, const ReportValue& value);
/// 0 prints "never".
void timeout(const char* name, const ReportValue& value);
/// "%s[%s]\r\n"
void label(const char* name, const ReportValue& value);
/// "%s local\r\n" or "%s remote\r\n"; another text prints nothing.
void usbRoute(const char* name, const ReportValue& value);
/// The name, unless the value is empty.
void trigger(const char* name, const ReportValue& value);
void nameOnly(const char* name, const ReportValue& value);

}  // namespace report
