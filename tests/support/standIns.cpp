#include "support/standIns.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory()
{
    std::string name = (fs::temp_directory_path() / "console-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

StandIns::StandIns(fs::path directory) : directory_(std::move(directory))
{
    fs::create_directories(directory_ / "bin");
    std::ofstream(directory_ / "commands").flush();
    setExitStatus(0);
    // One write a line, so that two commands at a time do not mix.
    const std::string finish = "exit \"$(cat '" + (directory_ / "status").string() + "')\"\n";
    const std::string log = " >>'" + (directory_ / "commands").string() + "'\n";
    addProgram("noteCommand", "printf '%s\\n' \"$2\"" + log + finish);
    addProgram("killall", "printf '%s\\n' \"killall $*\"" + log + finish);
}

void StandIns::addProgram(const std::string& name, const std::string& script) const
{
    const fs::path path = directory_ / "bin" / name;
    std::ofstream(path) << "#!/bin/sh\n" << script;
    fs::permissions(path, fs::perms::owner_all);
}

void StandIns::setExitStatus(int status) const
{
    std::ofstream(directory_ / "status") << status << '\n';
}

std::vector<std::string> StandIns::takeCommands()
{
    std::ifstream file(directory_ / "commands");
    std::vector<std::string> commands;
    std::string line;
    for (std::size_t number = 0; std::getline(file, line); ++number) {
        if (number >= taken_) {
            commands.push_back(line);
        }
    }
    taken_ += commands.size();
    return commands;
}
