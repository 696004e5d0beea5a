// How long a download takes when all goes well.
#pragma once

#include "protocol.h"

namespace velmorin {

/// Seconds from the first pass to the last, for an image of `bytes` at `packets_per_pass` packets in 10 ms, more
/// than 0. Counts what the updater waits for; the device's own time, such as that of erasing, is not known.
constexpr double ExpectedSeconds(int bytes, int packets_per_pass) {
    // Each group: its start, its packets, the last of which the group's end follows at once, and its verdict.
    constexpr int kPassesAround = 2;
    const int groups = GroupsOf(bytes);
    const int data = (kPacketsPerGroup + packets_per_pass - 1) / packets_per_pass;
    const int link = static_cast<int>(kHeartbeatPasses * kHeartbeatsForLink);
    const int idle = (kPassMs + kIdlePauseMs) / kPassMs;  // one pass, until the go-ahead is taken
    const double passes = link + idle + static_cast<double>(groups) * (data + kPassesAround);
    return passes * kPassMs / 1000 + kClosingPauseS;
}

}  // namespace velmorin
