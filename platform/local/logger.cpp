#include "platform/logger.h"

#include <cstdarg>
#include <cstdlib>

#include "platform/support/report.h"

int __logLevels[LOG_LEVEL_COUNT] = {0, 0, 0, 0, 1, 1};

namespace {

// LOG_LEVELS, a list such as "4,5,8", read before main so that the first message already obeys it.
[[gnu::constructor]] void readLogLevels()
{
    const char* at = std::getenv("LOG_LEVELS");
    if (at == nullptr) {
        return;
    }
    for (int& level : __logLevels) {
        level = 0;
    }
    while (*at != '\0') {
        if (*at < '0' || *at > '9') {
            ++at;
            continue;
        }
        char* end = nullptr;
        const unsigned long level = std::strtoul(at, &end, 10);
        if (level < LOG_LEVEL_COUNT) {
            __logLevels[level] = 1;
        }
        at = end;
    }
}

}  // namespace

void __printLog(int /*level*/, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vprintError(format, arguments);
    va_end(arguments);
}
