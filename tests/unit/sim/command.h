// Commands of an updater, written in hexadecimal.
#pragma once

#include <linux/can.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace sim {

/// "PF data..." in hexadecimal, the data filled up with zeros, from the updater to address e0.
inline can_frame Command(std::string hex) {
    std::erase(hex, ' ');
    const auto byte = [&](std::size_t i) {
        return static_cast<std::uint8_t>(std::stoul(hex.substr(2 * i, 2), nullptr, 16));
    };
    can_frame frame{0x9000E08A | static_cast<canid_t>(byte(0)) << 16, {8}, 0, 0, 0, {}};
    for (std::size_t i = 1; i < hex.size() / 2; ++i) frame.data[i - 1] = byte(i);
    return frame;
}

inline can_frame Packet(int index, const std::string& four) {
    char head[24];
    std::snprintf(head, sizeof head, "79 011020 %02x", static_cast<unsigned>(index));
    return Command(head + four);
}

}  // namespace sim
