// Who answers the updater: frames in, frames out with the time at which they leave.
#pragma once

#include <linux/can.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sim {

/// Microseconds on whatever monotonic clock the caller keeps.
using Micros = std::int64_t;

class Responder {
  public:
    virtual ~Responder() = default;

    /// Takes one frame from the bus. False, and nothing happens, when it is none that the updater sends to
    /// this device. `now` never runs backwards.
    virtual bool Receive(const can_frame& frame, Micros now) = 0;

    /// When the next frame leaves; none when none is waiting.
    virtual std::optional<Micros> NextDue() const = 0;

    /// The next frame that leaves by `now`, in the order in which they leave.
    virtual std::optional<can_frame> TakeDue(Micros now) = 0;

    /// Tells that the updater has gone. Waiting replies are forgotten.
    virtual void UpdaterGone() = 0;

    virtual bool HasBegun() const = 0;        ///< a job
    virtual bool IsOver() const = 0;          ///< nothing more is expected of the job
    virtual bool IsRight() const = 0;         ///< the job went as it should
    virtual std::string Summary() const = 0;  ///< of the run, one line without its newline

    /// What a developer of the updater wants to know, a line each, since the last call.
    virtual std::vector<std::string> TakeNotes() = 0;

    /// True once whenever there is an image to be saved.
    virtual bool TakeChecked() { return false; }
    virtual std::span<const std::uint8_t> image() const { return {}; }
};

}  // namespace sim
