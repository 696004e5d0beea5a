// What the tests of the text library share.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "stlstrings.h"

using Strings = std::vector<std::string>;

inline std::string Raw(const CString& s) {
    return s.GetString();
}

inline Strings Raw(const CStringList& list) {
    Strings all;
    for (int i = 0; i < list.GetCount(); ++i) all.push_back(list[i].GetString());
    return all;
}

inline CStringList List(const Strings& texts) {
    CStringList list;
    for (const auto& each : texts) list << each;
    return list;
}

/// A folder of its own, gone with the object.
class Folder {
  public:
    Folder() {
        std::string pattern = std::filesystem::temp_directory_path() / "text.XXXXXX";
        path_ = mkdtemp(pattern.data()) ? pattern : throw std::filesystem::filesystem_error(pattern, {});
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string Path(const std::string& name = "") const { return path_ / name; }

    std::string Write(const std::string& content) const {
        std::ofstream(Path("file"), std::ios::binary) << content;
        return Path("file");
    }

    std::string Read() const {
        std::ifstream in(Path("file"), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

  private:
    std::filesystem::path path_;
};
