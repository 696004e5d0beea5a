// The clock that everything with input or output shares.
#pragma once

#include <cstdint>
#include <ctime>

namespace sim {

/// Nanoseconds on the monotonic clock.
using Nanos = std::int64_t;

constexpr Nanos kNanosPerSecond = 1'000'000'000;
constexpr Nanos kNanosPerMicro = 1000;

inline Nanos Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNanosPerSecond + now.tv_nsec;
}

}  // namespace sim
