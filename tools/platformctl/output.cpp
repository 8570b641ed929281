#include "platformctl/output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/support/ownership.h"
#include "support/failure.h"
#include "support/jsonText.h"

void printLine(std::string_view line)
{
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    if (std::fflush(stdout) != 0) {
        throw Refused(std::string("standard output cannot be written: ") + std::strerror(errno));
    }
}

void printJson(const json_token* token)
{
    if (token == nullptr) {
        printLine("null");
        return;
    }
    const PlatformText text(json_token_to_string(token));
    if (!text) {
        throw Refused(std::strerror(ENOMEM));
    }
    printLine(printableJson(text.get()));
}
