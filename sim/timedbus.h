// A CAN bus with a bit rate: frames and times in, frames with the time of their end out. No sockets and no
// clock of its own.
#pragma once

#include <linux/can.h>

#include <cstddef>
#include <deque>
#include <map>
#include <optional>

#include "clock.h"

namespace sim {

/// Frames of one node leave in the order in which it offered them. Whenever the bus gets free the first
/// waiting ones of all nodes arbitrate, and the lowest identifier wins. What has won stays on the bus to its
/// end.
///
/// All times are computed from those at which frames were offered: who asks late for what has ended gets the
/// same frames with the same times as who asks in time.
class TimedBus {
  public:
    /// Frames of one node that may wait, the one on the bus included.
    static constexpr std::size_t kRoom = 10;

    struct Passed {
        int node;
        can_frame frame;
        Nanos end;  ///< last bit of its end of frame, when every node has it
    };

    /// `bitrate` in bit/s.
    explicit TimedBus(int bitrate) : bitrate_(bitrate) {}

    /// Takes a frame of `node` that waits since `since`, no earlier than the node's last one. False, and
    /// nothing happens, when the node has no room, or when this is nothing that a classic CAN bus carries.
    bool Offer(int node, const can_frame& frame, Nanos since);

    /// How many frames of `node` wait.
    std::size_t Waiting(int node) const;

    /// When the next frame ends, unless one that is offered until then goes before it. None when none waits.
    std::optional<Nanos> NextEnd() const;

    /// The next frame that has ended by `now`, in the order of the bus. Everything that waits since before
    /// its start must have been offered.
    std::optional<Passed> TakeEnded(Nanos now);

  private:
    struct Queued {
        can_frame frame;
        Nanos since;
    };
    struct Turn {
        int node;
        Nanos start;
    };

    std::optional<Turn> Next() const;
    Nanos Duration(int bits) const { return bits * kNanosPerSecond / bitrate_; }
    Nanos EndOf(const Turn& turn) const;

    int bitrate_;
    Nanos free_ = 0;                             ///< when the last frame and its intermission were over
    std::map<int, std::deque<Queued>> waiting_;  ///< by node, none empty
};

}  // namespace sim
