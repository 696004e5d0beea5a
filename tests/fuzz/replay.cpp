// Runs a fuzz target over the files named on the command line, and over all files of folders named there.
// What a target finds ends the process; the last line names the file.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace {

void Replay(const std::filesystem::path& path) {
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (const std::string& argument : std::vector<std::string>(argv + 1, argv + argc)) {
        if (!std::filesystem::is_directory(argument)) {
            files.emplace_back(argument);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argument)) files.push_back(entry.path());
    }
    std::ranges::sort(files);
    for (const auto& file : files) Replay(file);
    std::fprintf(stderr, "%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
