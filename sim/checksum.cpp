#include "checksum.h"

#include <zlib.h>

#include <cassert>

#include "wire.h"

namespace sim {

std::uint32_t WordCrc(std::span<const std::uint8_t> data) {
    assert(HasWordCrc(data));
    constexpr std::uint32_t kPolynomial = 0x04C11DB7;
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t at = 0; at < data.size(); at += 4) {
        crc ^= GetLe32(&data[at]);
        for (int bit = 0; bit < 32; ++bit) crc = crc & 0x80000000 ? crc << 1 ^ kPolynomial : crc << 1;
    }
    return crc;
}

std::uint32_t StandardCrc(std::span<const std::uint8_t> data, std::uint32_t before) {
    return static_cast<std::uint32_t>(crc32_z(before, data.data(), data.size()));
}

}  // namespace sim
