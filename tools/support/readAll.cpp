#include "support/readAll.h"

#include <cerrno>
#include <system_error>
#include <unistd.h>

std::string readAll(int fd)
{
    std::string text;
    char chunk[65'536];
    while (true) {
        const auto count = read(fd, chunk, sizeof chunk);
        if (count == 0) {
            return text;
        }
        if (count > 0) {
            text.append(chunk, static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category());
        }
    }
}
