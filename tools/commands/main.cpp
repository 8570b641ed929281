// commandReference DIRECTORY: writes the command reference in its three forms into a directory.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tools/commands/references.h"

namespace {

void write(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: commandReference DIRECTORY\n");
        return 2;
    }
    try {
        const std::filesystem::path directory = argv[1];
        std::filesystem::create_directories(directory);
        write(directory / "commands.json", commandsAsJson());
        write(directory / "commands.md", commandsAsMarkdown());
        write(directory / "receiver-commands.7", commandsAsManualPage());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "commandReference: %s\n", failure.what());
        return 1;
    }
    return 0;
}
