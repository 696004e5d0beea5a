// How long a job took, as its row records it.
#pragma once

#include <sys/time.h>

namespace velmorin {

/// Milliseconds from `start` to `end`. 32-bit microseconds: wraps after 71 minutes.
inline int ElapsedMs(const timeval& start, const timeval& end) {
    const auto seconds = static_cast<unsigned int>(end.tv_sec - start.tv_sec);
    const auto microseconds = static_cast<unsigned int>(end.tv_usec - start.tv_usec);
    return static_cast<int>((seconds * 1000000U + microseconds) / 1000U);
}

}  // namespace velmorin
