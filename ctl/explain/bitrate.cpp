#include "bitrate.h"

#include <algorithm>

namespace velmorin {
namespace {

constexpr int kStandardBits = 47;  // of a frame without data, with three bits of intermission
constexpr int kExtendedBits = 67;
constexpr std::uint64_t kEnough = 50;  // frames back to back that show a bit rate

}  // namespace

int FrameBits(const can_frame& frame) {
    const int data = (frame.can_id & CAN_RTR_FLAG) != 0 ? 0 : 8 * frame.can_dlc;
    return data + ((frame.can_id & CAN_EFF_FLAG) != 0 ? kExtendedBits : kStandardBits);
}

void BitRateGuess::Take(int bits, Micros gap) {
    bits_ += static_cast<std::uint64_t>(bits);
    for (std::size_t i = 0; i < kRates.size(); ++i) {
        const Micros least = Micros{1'000'000} * bits / kRates[i];
        // Times are taken by interrupts, a few bits late; stuff bits make a frame up to a fifth longer.
        if (gap < least * 9 / 10) {
            ++closer_[i];
        } else if (gap <= least * 5 / 4) {
            ++close_[i];
        }
    }
}

std::optional<int> BitRateGuess::Rate() const {
    for (std::size_t i = kRates.size();
         i-- > 0;) {  // the fastest that fits: a slower one has frames too close
        if (close_[i] >= kEnough && closer_[i] * 50 < close_[i]) return kRates[i];
    }
    return std::nullopt;
}

}  // namespace velmorin
