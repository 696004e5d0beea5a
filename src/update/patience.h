// How long a watched run waits for an answer.
#pragma once

#include <string>

#include "protocol.h"
#include "waiting.h"

namespace velmorin {

/// Keeps the time of what the device owes. Heartbeat replies are no answer, except while only heartbeats are
/// out. The go-ahead, which nothing asks for, has a clock of its own: whatever is asked while it is missing
/// is no reason to give up sooner.
class Patience {
  public:
    /// 0 seconds: for ever.
    Patience(int seconds, Micros now) : seconds_(seconds), confirmed_at_(now) {}

    /// Something that wants an answer is out. The clock starts with the first one since the last answer.
    void Asked(Micros now) {
        if (asked_at_ < 0) asked_at_ = now;
    }
    void Answered() { asked_at_ = -1; }
    /// The device is to give its go-ahead, or has given it, or starts over.
    void AwaitGoAhead(Micros now) {
        if (go_ahead_due_since_ < 0) go_ahead_due_since_ = now;
    }
    void GoAheadSettled() { go_ahead_due_since_ = -1; }
    /// A group has been confirmed.
    void Confirmed(Micros now) { confirmed_at_ = now; }

    /// What the device has failed to do for too long in this step, in words; empty while there is patience.
    std::string Lost(Micros now, Step step) const;
    /// The same of a bus that has been off or down since then.
    bool IsBusLost(Micros now, Micros since) const { return IsOver(now - since, 1); }

  private:
    bool IsOver(Micros waited, int times) const {
        return seconds_ != 0 && waited > Micros{seconds_} * times * 1'000'000;
    }

    int seconds_;
    Micros asked_at_ = -1;
    Micros go_ahead_due_since_ = -1;
    Micros confirmed_at_;
};

}  // namespace velmorin
