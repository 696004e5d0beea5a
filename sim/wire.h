// Bytes of a frame, lowest first.
#pragma once

#include <cstdint>

namespace sim {

inline std::uint16_t GetLe16(const std::uint8_t* from) {
    return static_cast<std::uint16_t>(from[0] | from[1] << 8);
}

inline std::uint32_t GetLe32(const std::uint8_t* from) {
    return GetLe16(from) | static_cast<std::uint32_t>(GetLe16(from + 2)) << 16;
}

inline void PutLe16(std::uint8_t* to, std::uint16_t value) {
    to[0] = static_cast<std::uint8_t>(value);
    to[1] = static_cast<std::uint8_t>(value >> 8);
}

inline void PutLe32(std::uint8_t* to, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) to[i] = static_cast<std::uint8_t>(value >> 8 * i);
}

}  // namespace sim
