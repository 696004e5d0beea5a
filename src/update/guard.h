// Which frames a watched run believes.
#pragma once

#include <linux/can.h>

#include <optional>
#include <string>

#include "canframe.h"

namespace velmorin {

/// Judges frames before the session sees them. It looks at the session and changes nothing in it.
class Guard {
  public:
    explicit Guard(const canframe& session) : session_(session) {}

    /// Why the frame does not count now, in a few words; null when it does. A frame counts when it is an
    /// extended data frame from the job's device to the updater, has the bytes that its kind needs, at least
    /// one fitting address byte, and answers what the session's step waits for. Heartbeat replies count in
    /// every step.
    const char* Objection(const can_frame& frame);

    /// Is it of a kind that the session would act on? Everything else on the bus is nobody's concern.
    static bool IsReply(const can_frame& frame);

    /// Once after another node was taken for the device: what to tell of it, else empty.
    std::string TakeNote();

  private:
    bool IsFromDevice(const can_frame& frame);
    bool AnswersInItsPlace(const can_frame& frame);
    bool FitsAnAddressByte(const can_frame& frame) const;
    const char* Untimely(const can_frame& frame) const;

    const canframe& session_;
    bool device_heard_ = false;            // the node at the charge address has answered a heartbeat
    std::optional<canid_t> in_its_place_;  // identifier, less the PF, of the node that answers instead
    std::optional<canid_t> candidate_;     // the same, of one that may become it
    unsigned int candidate_number_ = 0;    // of the last heartbeat that it answered
    int candidate_answers_ = 0;
    std::string note_;
};

}  // namespace velmorin
