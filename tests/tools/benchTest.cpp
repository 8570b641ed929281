#include "benchTest.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

std::string contents(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::ptrdiff_t countLines(const std::string& text, const std::string& line)
{
    const auto lines = linesOf(text);
    return std::count(lines.begin(), lines.end(), line);
}

std::vector<std::string> Bench::command(const Words& options) const
{
    Words words{kBench, "--dir", directory()};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

Result Bench::feed(std::string_view script, const Words& options) const
{
    return run(command(options), {}, script);
}

std::unique_ptr<Program> Bench::atTerminal() const
{
    auto bench = std::make_unique<Program>(command(), Environment{{"TERM", "dumb"}}, Program::Input::terminal);
    bench->awaitError("trace, record, TCP\n");
    return bench;
}

Environment Bench::reach() const
{
    return {{"PLATFORM", "local:" + directory()}, {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + directory() + "/bus"}};
}

Result Bench::platformctl(Words words) const
{
    words.insert(words.begin(), kPrograms + "/platformctl");
    return run(words, reach());
}

void Bench::expectAllGone() const
{
    EXPECT_TRUE(awaitNoProcessNaming(directory()));
    for (const char* name : {"bus", "bus.conf", "console", "hdbt", "commands", "stand-ins"}) {
        EXPECT_FALSE(fs::exists(fs::symlink_status(directory_.file(name)))) << name;
    }
}
