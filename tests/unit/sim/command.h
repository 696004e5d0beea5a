// Commands of an updater, written in hexadecimal.
#pragma once

#include <linux/can.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

inline std::vector<std::uint8_t> Bytes(std::string hex) {
    std::erase(hex, ' ');
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

/// "PF data..." in hexadecimal, the data filled up with zeros, from the updater to address e0.
inline can_frame Command(const std::string& hex) {
    std::vector<std::uint8_t> bytes = Bytes(hex);
    bytes.resize(9);
    can_frame frame{};
    frame.can_id = 0x9000E08A | static_cast<canid_t>(bytes[0]) << 16;
    frame.can_dlc = 8;
    std::copy(bytes.begin() + 1, bytes.end(), frame.data);
    return frame;
}

}  // namespace sim
