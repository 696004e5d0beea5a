// The seed of a random test: from VELMORIN_SEED, else a new one; printed either way, so that a run can be
// repeated.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>

inline std::mt19937 SeededRandom() {
    const char* given = std::getenv("VELMORIN_SEED");
    const auto seed = given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10))
                                       : std::random_device()();
    std::printf("VELMORIN_SEED=%u\n", seed);
    std::fflush(stdout);  // else every child prints it again
    return std::mt19937(seed);
}
