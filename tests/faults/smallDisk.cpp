#include "faults/smallDisk.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <system_error>
#include <unistd.h>

#include "platform/support/ownership.h"

namespace {

void check(int result, const char* what)
{
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

void ownMounts()
{
    if (::unshare(CLONE_NEWNS) == 0) {
        return;
    }
    // user_namespaces(7): who has one of his own may mount in it.
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    check(::unshare(CLONE_NEWUSER | CLONE_NEWNS), "unshare");
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
    std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
}

}  // namespace

SmallDisk::SmallDisk(const std::string& directory) : directory_(directory), filler_(directory + "/filler")
{
    ownMounts();
    check(::mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr), "mount");
    std::filesystem::create_directories(directory);
    check(::mount("none", directory.c_str(), "tmpfs", MS_NODEV | MS_NOSUID, "size=1m,mode=0750"), "mount");
}

SmallDisk::~SmallDisk()
{
    ::umount2(directory_.c_str(), MNT_DETACH);
}

void SmallDisk::fill() const
{
    const UniqueFd file(::open(filler_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    const std::string block(4'096, 'x');
    while (::write(file.get(), block.data(), block.size()) > 0) {
    }
    if (errno != ENOSPC) {
        check(-1, "fill");
    }
}

void SmallDisk::empty() const
{
    std::filesystem::remove(filler_);
}
