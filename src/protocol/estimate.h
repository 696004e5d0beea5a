// How long a download takes when all goes well.
#pragma once

#include "protocol.h"

namespace velmorin {

/// Seconds from the first pass to the reset reply for an image of `bytes` at `pace` packets in 10 ms; 0: as
/// fast as a bus at 125000 bit/s takes them. The device's own time, such as that of erasing, is not known and
/// does not count.
constexpr double ExpectedSeconds(int bytes, int pace) {
    constexpr double kFrameBits = 145;  // of a data frame, with the usual stuff bits
    constexpr double kMostInAPass = kBusBitrate / kFrameBits * kPassMs / 1000;
    constexpr int kPassesAround = 2;  // a group's start and its end
    const double packets_in_a_pass = pace == 0 || pace > kMostInAPass ? kMostInAPass : pace;
    const double passes = static_cast<double>(kHeartbeatPasses * kHeartbeatsForLink) +
                          GroupsOf(bytes) * (kPacketsPerGroup / packets_in_a_pass + kPassesAround);
    return passes * kPassMs / 1000;
}

}  // namespace velmorin
