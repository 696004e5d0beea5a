// A bench folder of its own for a test: VELMORIN_BENCH points to it, and it is gone with the object.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

class BenchDir {
  public:
    BenchDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "velmorin-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder for the bench");
        root_ = pattern;
        std::filesystem::create_directories(root_ / "mnt/nandflash/app");
        std::filesystem::create_directories(root_ / "mnt/nandflash/download");
        setenv("VELMORIN_BENCH", pattern.c_str(), 1);
    }
    ~BenchDir() {
        unsetenv("VELMORIN_BENCH");
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    BenchDir(const BenchDir&) = delete;
    BenchDir& operator=(const BenchDir&) = delete;

    const std::filesystem::path& Root() const { return root_; }
    std::string StagingFile() const { return (root_ / "mnt/nandflash/app/chargeupdate.db").string(); }
    std::string JobFile() const { return (root_ / "mnt/nandflash/download/update.conf").string(); }

    /// Writes a file below the bench folder and returns its path.
    std::string Write(const std::string& name, const std::string& content) const {
        const std::filesystem::path path = root_ / name;
        std::ofstream(path, std::ios::binary) << content;
        return path.string();
    }

    static std::string Read(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

  private:
    std::filesystem::path root_;
};

/// Bytes that no two groups share, the same for every run.
inline std::string TestImage(std::size_t size) {
    std::string image(size, '\0');
    unsigned int state = 0x2545F491U;
    for (char& byte : image) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24);
    }
    return image;
}
