// The programs of one installation are found beside each other, so that it runs from any prefix.
#pragma once

#include <filesystem>
#include <string>

/// This executable's own file.
const std::filesystem::path& ownProgram();

/// The program of this name beside it. Throws Refused when it is not there.
std::string siblingProgram(const char* name);

/// The program of this name on PATH. Throws Refused when there is none.
std::string programOnPath(const char* name);
