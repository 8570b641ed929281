#include "bench/ownProgram.h"

#include <cstdlib>
#include <sstream>
#include <unistd.h>

#include "support/failure.h"

namespace fs = std::filesystem;

const fs::path& ownProgram()
{
    static const fs::path path = fs::read_symlink("/proc/self/exe");
    return path;
}

std::string siblingProgram(const char* name)
{
    const fs::path path = ownProgram().parent_path() / name;
    if (access(path.c_str(), X_OK) != 0) {
        throw Refused(std::string(name) + " is missing beside " + ownProgram().string() + "; install them together");
    }
    return path;
}

std::string programOnPath(const char* name)
{
    const char* list = std::getenv("PATH");
    std::istringstream directories(list == nullptr ? "" : list);
    for (std::string directory; std::getline(directories, directory, ':');) {
        const fs::path path = fs::path(directory) / name;
        if (access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    throw Refused(std::string(name) + " is not installed, or not on PATH");
}
