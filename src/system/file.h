// An owned FILE.
#pragma once

#include <cstdio>
#include <memory>

namespace velmorin {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace velmorin
