// How long a classic CAN frame is on the wire.
#pragma once

#include <linux/can.h>

#include <cstdint>

namespace sim {

/// Recessive bits between a frame and the next; part of what FrameBits counts.
constexpr int kIntermissionBits = 3;

/// Bits that the frame takes on the bus, from its start to the moment when the next one can start: stuff
/// bits, checksum, acknowledge, end of frame and intermission included. Standard, extended, data and remote
/// frames; can_dlc is at most 8.
int FrameBits(const can_frame& frame);

/// What decides the arbitration, as one number: the frame with the lower one goes first. A standard
/// identifier goes before the extended ones that begin with the same 11 bits, a data frame before its remote
/// frame.
std::uint32_t ArbitrationField(canid_t id);

}  // namespace sim
