#include "bench/messageLog.h"

#include <fstream>
#include <iterator>
#include <system_error>

std::size_t MessageLog::size() const
{
    std::error_code missing;
    const auto size = std::filesystem::file_size(file_, missing);
    return missing ? 0 : static_cast<std::size_t>(size);
}

std::string MessageLog::from(std::size_t start) const
{
    std::ifstream stream(file_, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(start));
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool MessageLog::holds(std::string_view text, std::size_t start) const
{
    return from(start).find(text) != std::string::npos;
}
