// One direction of a bus that does not carry frames as it should.
#pragma once

#include <linux/can.h>

#include <cstdint>
#include <optional>
#include <random>
#include <vector>

/// Chances are between 0 and 1, for each frame.
struct LineFaults {
    double lost = 0;     ///< not delivered, as a frame that every node sees damaged and nobody repeats
    double doubled = 0;  ///< delivered twice, the second time up to `slow_ms` (at least 20) later
    double slow = 0;     ///< delivered later, by up to `slow_ms`
    int slow_ms = 0;
    bool in_order = true;  ///< what follows a slow frame waits behind it; else it overtakes
    double mangled = 0;    ///< delivered with bits flipped, as by a node that is broken itself
};

class FaultyLine {
  public:
    FaultyLine(LineFaults faults, std::mt19937& random) : faults_(faults), random_(random) {}

    void Offer(const can_frame& frame, std::int64_t now_ms);

    /// The next frame that has arrived by now.
    std::optional<can_frame> Take(std::int64_t now_ms);

    /// Nothing arrives before then, and what was due does at once then.
    void HoldUntil(std::int64_t ms) { held_until_ = ms; }
    void Drop() { waiting_.clear(); }

  private:
    struct Waiting {
        std::int64_t due_ms;
        can_frame frame;
    };

    bool Happens(double chance) { return std::uniform_real_distribution<>(0, 1)(random_) < chance; }
    void Queue(can_frame frame, std::int64_t due_ms);
    void Mangle(can_frame& frame);

    LineFaults faults_;
    std::mt19937& random_;
    std::vector<Waiting> waiting_;  // by due time
    std::int64_t held_until_ = 0;
};
