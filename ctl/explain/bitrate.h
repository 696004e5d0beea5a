// How long frames take, and which bit rate a log's times show.
#pragma once

#include <linux/can.h>

#include <array>
#include <cstdint>
#include <optional>

#include "candump.h"

namespace velmorin {

/// Bits from the start of frame to the end of the intermission, without stuff bits, which are at most a fifth
/// more.
int FrameBits(const can_frame& frame);

/// Finds the bit rate at which frames follow each other back to back: no two come closer than one takes, and
/// many come just so close.
class BitRateGuess {
  public:
    /// The next frame, and the time since the one before it.
    void Take(int bits, Micros gap);
    /// Nothing when the times do not tell, as on a simulated bus that takes no time.
    std::optional<int> Rate() const;
    std::uint64_t bits() const { return bits_; }

  private:
    static constexpr std::array<int, 8> kRates = {10'000,  20'000,  50'000,  100'000,
                                                  125'000, 250'000, 500'000, 1'000'000};
    std::array<std::uint64_t, kRates.size()> close_{};   // frames that came as close as the rate allows
    std::array<std::uint64_t, kRates.size()> closer_{};  // or closer
    std::uint64_t bits_ = 0;
};

}  // namespace velmorin
