// What an updater and a device say to each other, written down.
#pragma once

#include <gtest/gtest.h>
#include <linux/can.h>

#include <cstdio>
#include <sstream>
#include <string>

#include "responder.h"

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

/// Plays a script on a clock that starts at 0, and expects its replies. A line is one of
///
///     COMMAND > REPLY, REPLY...       as Command takes it; "> -": no reply; no ">": whatever
///     +MS > REPLY...                  so much later
///     packets FIRST LAST FOUR         packets with these four bytes
///
/// Replies are those that leave at once, zero bytes at the end left out.
inline void Play(Responder& device, const std::string& script) {
    Micros now = 0;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.substr(0, line.find('>')));
        std::string word, said;
        int first = 0, last = 0;
        words >> word;
        if (word[0] == '+') {
            now += 1000 * std::stoll(word);
        } else if (word != "packets") {
            device.Receive(Command(words.str()), now);
        } else {
            words >> first >> last >> word;
            for (char index[16]; first <= last; ++first) {
                std::snprintf(index, sizeof index, "79 011020 %02x", static_cast<unsigned>(first));
                device.Receive(Command(index + word), now);
            }
        }
        while (const auto frame = device.TakeDue(now)) {
            char text[24];
            int length = std::snprintf(text, sizeof text, "%02x ", frame->can_id >> 16 & 0xFFU);
            for (const std::uint8_t byte : frame->data)
                length += std::snprintf(text + length, 3, "%02x", byte);
            said += (said.empty() ? "" : ", ") + std::string(text);
            while (said.ends_with("00")) said.resize(said.size() - 2);
        }
        const std::size_t arrow = line.find('>');
        if (arrow == std::string::npos) continue;
        EXPECT_EQ(said.empty() ? "-" : said, line.substr(arrow + 2)) << line;
    }
}

}  // namespace sim
