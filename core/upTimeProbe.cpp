#include "core/upTimeProbe.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/store.h"
#include "platform/support/jsonTemplate.h"
#include "platform/support/report.h"

namespace {

struct ClosePipe {
    void operator()(FILE* pipe) const { pclose(pipe); }
};

// "15 11:24:43\n": day, blank, time, line end.
constexpr std::size_t kDateLine = 12;

}  // namespace

void storeUpTime()
{
    FixedText<32> upOnTime;
    {
        const std::unique_ptr<FILE, ClosePipe> pipe(popen("date +\"%d %T\"", "r"));
        if (pipe == nullptr) {
            printOut("Failed to run command");
        } else {
            char line[64] = {};
            while (std::fgets(line, sizeof line - 1, pipe.get()) != nullptr) {
                printOut("getUpOnTime=%s, strlen(path)=%zu\r\n", line, std::strlen(line));
            }
            if (std::strlen(line) == kDateLine) {
                upOnTime.append({line, kDateLine - 1});
            }
        }
    }
    Document document;
    fill(document, textLeaf<"system.upOnTime">, upOnTime.view());
    if (user_config_update(document.c_str()) != 0) {
        reportSystemError("user_config_update");
    }
}
