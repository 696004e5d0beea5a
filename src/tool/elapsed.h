// How long a job took, as its row records it.
#pragma once

#include <sys/time.h>

/// Milliseconds from `start` to `end`, in unsigned 32-bit arithmetic: the microseconds of 71 minutes and more
/// wrap.
inline int ElapsedMs(const timeval& start, const timeval& end) {
    const auto seconds = static_cast<unsigned int>(end.tv_sec - start.tv_sec);
    const auto microseconds = static_cast<unsigned int>(end.tv_usec - start.tv_usec);
    return static_cast<int>((seconds * 1000000U + microseconds) / 1000U);
}
