// How busy the bus was.
#pragma once

#include <linux/can.h>

#include <cstdint>
#include <optional>
#include <string>

#include "clock.h"

namespace sim {

/// Counts the bits of all frames, and of those of the job between the updater and the device at `address`,
/// from the start of its first group start to the end of its last verdict.
class BusLoad {
  public:
    /// `bitrate` in bit/s; counts from `begin` on.
    BusLoad(int bitrate, std::uint8_t address, Nanos begin)
        : bitrate_(bitrate), address_(address), begin_(begin) {}

    /// A frame whose end of frame was at `end`, in the order of the bus.
    void Add(const can_frame& frame, Nanos end);

    /// "bus 125000 bit/s: busy 41.3 %", and when a verdict has been given "; 98.21 % from the first group
    /// start to the last verdict, 98.20 % with frames of the job". The intermission after a frame counts as
    /// busy.
    std::string Text(Nanos now) const;

  private:
    struct Window {
        Nanos start;
        Nanos end;
        std::int64_t bits, job_bits;  ///< from `start` to `end`
    };

    double Percent(std::int64_t bits, Nanos span) const;

    const int bitrate_;
    const std::uint8_t address_;
    const Nanos begin_;
    std::int64_t bits_ = 0;                             ///< in all
    std::optional<Nanos> start_;                        ///< of the first group start
    std::int64_t bits_since_ = 0, job_bits_since_ = 0;  ///< from then on
    std::optional<Window> window_;
};

}  // namespace sim
