// Runs every file of the directories named, or the files, through a fuzz target: what libFuzzer has found or was given
// is shown again with any compiler.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace {

std::vector<std::filesystem::path> filesBelow(const std::filesystem::path& place)
{
    std::vector<std::filesystem::path> files;
    if (!std::filesystem::is_directory(place)) {
        return {place};
    }
    for (const auto& entry : std::filesystem::directory_iterator(place)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool replay(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.bad() || !file.is_open()) {
        std::cerr << path << " cannot be read\n";
        return false;
    }
    std::cerr << path.filename().string() << '\n';  // the last one named is the one that failed
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
    return true;
}

}  // namespace

int main(int count, char** arguments)
{
    std::size_t replayed = 0;
    for (int i = 1; i < count; ++i) {
        for (const std::filesystem::path& path : filesBelow(arguments[i])) {
            if (!replay(path)) {
                return 1;
            }
            ++replayed;
        }
    }
    std::cerr << replayed << " inputs\n";
    return replayed > 0 ? 0 : 1;
}
