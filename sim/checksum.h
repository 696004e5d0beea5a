// The two checksums a device may ask for, made independently of the updater's.
#pragma once

#include <cstdint>
#include <span>

namespace sim {

/// True for bytes that CRC A is defined for: whole words.
inline bool HasWordCrc(std::span<const std::uint8_t> data) {
    return data.size() % 4 == 0;
}

/// CRC A: CRC-32/MPEG-2 over little-endian 32-bit words, each fed top bit first. `data` holds whole words.
std::uint32_t WordCrc(std::span<const std::uint8_t> data);

/// CRC B: the standard CRC-32. `before` is the checksum of the bytes in front of `data`, 0 for none, so a
/// long message can be taken piece by piece.
std::uint32_t StandardCrc(std::span<const std::uint8_t> data, std::uint32_t before = 0);

}  // namespace sim
