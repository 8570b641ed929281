#include "platform/local/setAside.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <unistd.h>

#include "platform/support/report.h"

namespace local {

namespace {

constexpr const char* kSuffixes[] = {"", "-wal", "-shm"};

bool isFree(const std::string& path)
{
    for (const char* suffix : kSuffixes) {
        if (::access((path + suffix).c_str(), F_OK) == 0) {
            return false;
        }
    }
    return true;
}

// Numbered when the second is taken: a device without a battery lives the same seconds at every start.
std::string nameBeside(const std::string& path)
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char moment[sizeof "-2147481748-12-31T23-59-60"];
    std::strftime(moment, sizeof moment, "%Y%m%dT%H%M%S", &utc);
    const std::string first = path + ".corrupt-" + moment;
    std::string name = first;
    for (int number = 2; !isFree(name); ++number) {
        name = first + '.' + std::to_string(number);
    }
    return name;
}

}  // namespace

bool setAside(const std::string& path)
{
    const std::string aside = nameBeside(path);
    // The database first: should the power fail in between, SQLite removes a -wal that stands beside none.
    if (std::rename(path.c_str(), aside.c_str()) != 0) {
        return false;
    }
    for (const char* suffix : {"-wal", "-shm"}) {
        std::rename((path + suffix).c_str(), (aside + suffix).c_str());  // there need not be any
    }
    printError("%s is corrupt: it is kept as %s, and an empty one takes its place\n", path.c_str(), aside.c_str());
    return true;
}

}  // namespace local
