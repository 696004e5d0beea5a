// A bus in memory for programs linked with membus.cpp: what the port reads and writes never leaves the
// process, so a pass costs well under a microsecond.
#pragma once

#include <linux/can.h>

#include <deque>
#include <optional>
#include <vector>

namespace membus {

/// The descriptor whose reads and writes come here; all others are the system's.
constexpr int kDescriptor = 1 << 20;

/// What one read gives: `length` bytes of the frame, or a failure of the interface for a negative one.
struct Arrival {
    int length;
    can_frame frame;
};

struct Bus {
    std::deque<Arrival> arrivals;    ///< for the reads to come; none: no frame is waiting
    std::optional<can_frame> taken;  ///< the last whole frame that a read gave; whoever looks resets it
    std::vector<can_frame> offered;  ///< what the session tried to write, oldest first
    std::vector<can_frame> written;  ///< what of it went out
    bool refuses = false;            ///< writes fail, as with a full queue

    void Deliver(const can_frame& frame) { arrivals.push_back({sizeof frame, frame}); }
};

/// The one bus of the process.
Bus& TheBus();

}  // namespace membus
