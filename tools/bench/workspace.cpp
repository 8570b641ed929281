#include "bench/workspace.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/local/local.h"
#include "support/failure.h"

namespace fs = std::filesystem;

namespace {

constexpr char kRemedy[] = "; name with --dir a directory that is yours, or can be made";

fs::path makeDirectoryIn(const fs::path& parent)
{
    std::string pattern = (parent / "receiver-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw Refused(pattern + " cannot be made: " + std::strerror(errno) + kRemedy);
    }
    return pattern;
}

fs::path choose(const std::optional<std::string>& named)
{
    if (named) {
        return *named;
    }
    if (std::getenv("PLATFORM") == nullptr) {
        return {};
    }
    const std::string directory = local::storeDirectory();
    if (directory.empty()) {
        throw Refused("PLATFORM names another engine than local:DIR; unset it, or name a directory with --dir");
    }
    return directory;
}

}  // namespace

Workspace::Workspace(const std::optional<std::string>& named)
{
    directory_ = choose(named);
    try {
        if (directory_.empty()) {
            directory_ = makeDirectoryIn(fs::temp_directory_path());
            temporary_ = true;
        }
        fs::create_directories(directory_);
        directory_ = fs::canonical(directory_);
    } catch (const fs::filesystem_error& error) {
        throw Refused("the directory '" + directory_.string() + "' cannot be used: " + error.code().message() +
                      kRemedy);
    }
    lock();
    removeLeftovers();
    if ((directory_ / "bus").native().size() >= sizeof(sockaddr_un::sun_path)) {
        socketDirectory_ = makeDirectoryIn("/tmp");
    }
}

Workspace::~Workspace()
{
    std::error_code ignored;
    removeLeftovers();
    if (!socketDirectory_.empty()) {
        fs::remove_all(socketDirectory_, ignored);
    }
    if (temporary_) {
        fs::remove_all(directory_, ignored);
    }
}

fs::path Workspace::busSocket() const
{
    return (socketDirectory_.empty() ? directory_ : socketDirectory_) / "bus";
}

void Workspace::link(const fs::path& path, const fs::path& target) const
{
    if (fs::is_symlink(path)) {
        fs::remove(path);
    }
    std::error_code error;
    fs::create_symlink(target, path, error);
    if (error) {
        throw Refused("'" + path.string() + "' cannot be made: " + error.message() +
                      "; the bench needs that name: move what is there, or name another directory with --dir");
    }
}

void Workspace::lock()
{
    const fs::path path = file("bench.lock");
    lock_.reset(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!lock_) {
        throw Refused("'" + path.string() + "' cannot be made: " + std::strerror(errno) + kRemedy);
    }
    if (flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
        throw Refused("another receiver-bench runs in '" + directory_.string() +
                      "'; end it, or name another directory");
    }
}

// The directory is the user's: nothing goes but what the bench has made, told by its kind.
void Workspace::removeLeftovers() const
{
    std::error_code ignored;
    const auto removeIf = [&](const fs::path& path, fs::file_type kind) {
        if (fs::symlink_status(path, ignored).type() == kind) {
            fs::remove(path, ignored);
        }
    };
    removeIf(file("bus"), fs::file_type::socket);
    removeIf(file("bus.conf"), fs::file_type::regular);
    removeIf(file("commands"), fs::file_type::fifo);
    removeIf(file("commands.status"), fs::file_type::regular);
    removeIf(file("console"), fs::file_type::symlink);
    removeIf(file("hdbt"), fs::file_type::symlink);
    for (const auto& entry : fs::directory_iterator(standInDirectory(), ignored)) {
        removeIf(entry.path(), fs::file_type::symlink);
    }
    fs::remove(standInDirectory(), ignored);  // only when it is empty
}
