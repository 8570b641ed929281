#include "support/outputFile.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

// Of the sanitizer run-times (sanitizer/common_interface_defs.h), where one is linked.
extern "C" __attribute__((weak)) void __sanitizer_set_report_fd(void* fd);

OutputFile::OutputFile() : fd_(::memfd_create("output", MFD_CLOEXEC))
{
    if (!fd_ || ::fcntl(fd_.get(), F_SETFL, O_APPEND) != 0) {
        throw std::system_error(errno, std::generic_category(), "memfd_create");
    }
}

std::size_t OutputFile::size() const
{
    struct stat status {};
    ::fstat(fd_.get(), &status);
    return static_cast<std::size_t>(status.st_size);
}

std::string OutputFile::from(std::size_t offset) const
{
    std::string text(size() - offset, '\0');
    const ssize_t count = ::pread(fd_.get(), text.data(), text.size(), static_cast<off_t>(offset));
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
}

bool OutputFile::holds(std::string_view text, std::size_t offset) const
{
    return from(offset).find(text) != std::string::npos;
}

CapturedOutput::CapturedOutput(const OutputFile& file)
{
    std::fflush(nullptr);
    output_.reset(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
    error_.reset(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
    if (__sanitizer_set_report_fd != nullptr) {
        __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(error_.get())));
    }
    ::dup2(file.fd(), STDOUT_FILENO);
    ::dup2(file.fd(), STDERR_FILENO);
}

CapturedOutput::~CapturedOutput()
{
    std::fflush(nullptr);
    ::dup2(output_.get(), STDOUT_FILENO);
    ::dup2(error_.get(), STDERR_FILENO);
    if (__sanitizer_set_report_fd != nullptr) {
        __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(STDERR_FILENO)));
    }
}
