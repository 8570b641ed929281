// A whole file or stream, byte for byte.
#pragma once

#include <string>

/// Reads to the end. Throws std::system_error.
std::string readAll(int fd);
