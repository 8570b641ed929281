#include "peers/ownDevices.h"

#include <unistd.h>

namespace {

// The words are the directory it is made in, the pseudo-terminal (or nothing) that stands there as ttyS6, and the
// program.
constexpr const char* kOwnDevices = R"(set -e
mount -t tmpfs devices "$1"
mkdir "$1/pts"
mount --rbind /dev/pts "$1/pts"
touch "$1/null"
mount --bind /dev/null "$1/null"
[ -z "$2" ] || ln -s "$2" "$1/ttyS6"
mount --rbind "$1" /dev
shift 2
exec "$@")";

}  // namespace

bool canHaveOwnDevices()
{
    return *UNSHARE != '\0';
}

std::vector<std::string> withOwnDevices(const std::filesystem::path& directory, const std::string& ttyS6)
{
    std::filesystem::create_directories(directory);
    return {UNSHARE, ::geteuid() == 0 ? "-m" : "-rm", "sh", "-c", kOwnDevices, "sh", directory.string(), ttyS6};
}
