// Two names of one file.
#pragma once

#include <sys/stat.h>

#include <string>

#include "platform.h"

/// Whether both paths lead to one file, by whatever names.
inline bool IsSameFile(const std::string& one, const std::string& other) {
    struct stat first {
    }, second{};
    return stat(velmorin::platform::ResolvePath(one.c_str()).c_str(), &first) == 0 &&
           stat(velmorin::platform::ResolvePath(other.c_str()).c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}
