// Multi-byte values on the bus are little-endian: the lowest byte first.
#pragma once

#include <cstdint>

namespace velmorin {

inline std::uint8_t LowByte(int value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

inline void PutLe16(unsigned char* to, unsigned int value) {
    to[0] = static_cast<unsigned char>(value & 0xFF);
    to[1] = static_cast<unsigned char>(value >> 8 & 0xFF);
}

inline void PutLe32(unsigned char* to, unsigned int value) {
    PutLe16(to, value);
    PutLe16(to + 2, value >> 16);
}

inline unsigned int GetLe16(const unsigned char* from) {
    return static_cast<unsigned int>(from[0]) | static_cast<unsigned int>(from[1]) << 8;
}

inline unsigned int GetLe32(const unsigned char* from) {
    return GetLe16(from) | GetLe16(from + 2) << 16;
}

}  // namespace velmorin
