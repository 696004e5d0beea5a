// How fast packets go out.
#pragma once

#include <algorithm>

#include "watchedrun.h"

namespace velmorin {

class Pace {
  public:
    explicit Pace(int packets) : packets_(packets) {}

    /// A pass of 10 ms begins.
    void NextPass() { sent_ = 0; }
    /// May another packet go out in this pass?
    bool Allows() const { return packets_ == kPaceMax || sent_ < packets_; }
    void Sent() { ++sent_; }

    /// A group was refused: from now on half as fast. False when that was the slowest pace already.
    bool SlowDown() {
        if (packets_ == 1) return false;
        packets_ = std::max(1, (packets_ == kPaceMax ? kPaceMaxCounts : packets_) / 2);
        return true;
    }

  private:
    int packets_;   // a pass, or kPaceMax
    int sent_ = 0;  // in this pass
};

}  // namespace velmorin
