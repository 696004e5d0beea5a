// An owned FILE, and what kinds of files there are.
#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <memory>

namespace velmorin {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// What lies there instead of a regular file, "a pipe"; null for a regular one.
inline const char* OtherKind(mode_t mode) {
    if (S_ISREG(mode)) return nullptr;
    if (S_ISDIR(mode)) return "a folder";
    if (S_ISFIFO(mode)) return "a pipe";
    return S_ISSOCK(mode) ? "a socket" : "a device";
}

}  // namespace velmorin
