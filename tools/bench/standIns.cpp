#include "bench/standIns.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <string_view>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "bench/ownProgram.h"
#include "bench/shellWords.h"
#include "platform/local/local.h"
#include "support/failure.h"
#include "transcript/text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kShell = "receiver-shell";
constexpr std::string_view kFactoryTool = "factory_tool";
constexpr std::string_view kNames[] = {kShell, kFactoryTool, "apploggertool", "killall", "pkill",   "reboot",
                                       "halt", "poweroff",   "shutdown",      "init",    "telinit", "systemctl"};
constexpr char kChannelVariable[] = "RECEIVER_BENCH_COMMANDS";
constexpr char kStatusVariable[] = "RECEIVER_BENCH_STATUS";

void tellBench(std::string_view command)
{
    const char* path = std::getenv(kChannelVariable);
    if (path == nullptr) {
        return;
    }
    const UniqueFd channel(open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    const std::string line = escaped(command) + "\n";
    if (channel) {
        [[maybe_unused]] const auto written = write(channel.get(), line.data(), line.size());
    }
}

/// What every command is to end with, if that is said.
std::optional<int> givenStatus()
{
    const char* path = std::getenv(kStatusVariable);
    int status = 0;
    if (path != nullptr && std::ifstream(path) >> status) {
        return status;
    }
    return std::nullopt;
}

/// factory_tool -w KEY VALUE
int runFactoryTool(const std::vector<std::string>& words)
{
    if (words.size() != 4 || words[1] != "-w") {
        return 1;
    }
    return local::writeFactoryData(words[2], words[3]) == 0 ? 0 : 1;
}

int runCommandLine(const std::string& line)
{
    tellBench(line);
    if (const auto status = givenStatus()) {
        return *status;
    }
    const std::string program = line.substr(0, line.find_first_of(" \t;|&"));
    if (fs::path(program).filename() != kFactoryTool) {
        return 0;
    }
    const auto words = shellWords(line);
    return words ? runFactoryTool(*words) : 1;
}

std::string joined(const std::vector<std::string>& words)
{
    std::string line;
    for (const std::string& word : words) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

/// The name this process was started under, which argv[0] need not tell.
std::string startedAs()
{
    // getauxval(3): the pathname used to execute the program.
    const auto* path = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
    return path == nullptr ? "" : fs::path(path).filename().string();
}

}  // namespace

StandIns::StandIns(const Workspace& workspace)
    : directory_(workspace.standInDirectory()), channelPath_(workspace.file("commands")),
      statusPath_(workspace.file("commands.status"))
{
    fs::create_directories(directory_);
    for (const std::string_view name : kNames) {
        workspace.link(fs::path(directory_) / name, ownProgram());
    }
    if (mkfifo(channelPath_.c_str(), 0600) != 0) {
        throw Refused("'" + channelPath_ + "' cannot be made: " + std::strerror(errno));
    }
    // Opened for writing as well, so that it does not come to an end when a stand-in has closed it.
    channel_.reset(open(channelPath_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!channel_) {
        throw Refused("'" + channelPath_ + "' cannot be opened: " + std::strerror(errno));
    }
}

std::string StandIns::shell() const
{
    return fs::path(directory_) / kShell;
}

void StandIns::setExitStatus(int status) const
{
    std::ofstream(statusPath_) << status << '\n';
}

std::vector<std::string> StandIns::takeCommands()
{
    char chunk[4096];
    for (ssize_t count = 0; (count = read(channel_.get(), chunk, sizeof chunk)) > 0;) {
        partial_.append(chunk, static_cast<std::size_t>(count));
    }
    std::vector<std::string> commands;
    for (std::size_t end = 0; (end = partial_.find('\n')) != std::string::npos;) {
        commands.push_back(unescaped(partial_.substr(0, end)));
        partial_.erase(0, end + 1);
    }
    return commands;
}

std::optional<int> runAsStandIn(int count, char** arguments)
{
    const std::string name = startedAs();
    if (std::find(std::begin(kNames), std::end(kNames), name) == std::end(kNames)) {
        return std::nullopt;
    }
    std::vector<std::string> words(arguments, arguments + count);
    if (name == kShell) {
        return words.size() == 3 && words[1] == "-c" ? runCommandLine(words[2]) : 2;
    }
    words[0] = name;
    tellBench(joined(words));
    if (const auto status = givenStatus()) {
        return *status;
    }
    return name == kFactoryTool ? runFactoryTool(words) : 0;
}
