// A bus in memory for programs linked with membus.cpp: what the port reads and writes never leaves the
// process.
#pragma once

#include <linux/can.h>

#include <deque>
#include <optional>
#include <vector>

#include "canframe.h"

namespace membus {

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

/// Puts the session on an empty bus, for a job of port 1 with the device e0 10 20.
void Attach(canframe& session);

/// Appends a group to the send cache whose packets carry their index.
void AddGroup(canframe& session, unsigned int address, int packets);

inline unsigned int PfOf(const can_frame& frame) {
    return frame.can_id >> 16 & 0xFF;
}

/// A reply in that job, the bytes behind the status zero.
can_frame ReplyOf(unsigned int pf, unsigned char status = 0);

/// Delivers the answer of a device that says yes to everything.
void SayYes(const can_frame& command);

}  // namespace membus
