#include "framebits.h"

#include <cassert>

namespace sim {
namespace {

constexpr int kChecksumBits = 15;
// Checksum delimiter, acknowledge and its delimiter, end of frame: sent without stuff bits.
constexpr int kTrailerBits = 1 + 1 + 1 + 7;
constexpr int kEqualBitsBeforeStuffing = 5;

/// Counts the bits of a frame as they go out, stuff bits included, and keeps their checksum.
class Wire {
  public:
    /// The low `count` bits of `value`, the highest first.
    void Put(std::uint32_t value, int count) {
        for (int i = count - 1; i >= 0; --i) PutBit(value >> i & 1);
    }
    void PutChecksum() { Put(crc_, kChecksumBits); }
    int bits() const { return bits_; }

  private:
    void PutBit(std::uint32_t bit) {
        constexpr std::uint32_t kPolynomial = 0x4599;
        const bool feed = bit != (crc_ >> (kChecksumBits - 1) & 1);
        crc_ = (crc_ << 1 ^ (feed ? kPolynomial : 0)) & 0x7FFF;

        ++bits_;
        run_ = bit == last_ ? run_ + 1 : 1;
        last_ = bit;
        if (run_ < kEqualBitsBeforeStuffing) return;
        ++bits_;  // the stuff bit, which is the first of a run itself
        last_ = 1 - bit;
        run_ = 1;
    }

    int bits_ = 0;
    int run_ = 0;
    std::uint32_t last_ = 2;  // neither
    std::uint32_t crc_ = 0;
};

}  // namespace

std::uint32_t ArbitrationField(canid_t id) {
    const std::uint32_t remote = id & CAN_RTR_FLAG ? 1 : 0;
    // 11 bits of identifier, remote bit, extension bit; extended: a recessive one for the remote bit, 18 more
    // bits, remote bit.
    if (!(id & CAN_EFF_FLAG)) return (id & CAN_SFF_MASK) << 21 | remote << 20;
    const std::uint32_t identifier = id & CAN_EFF_MASK;
    return identifier >> 18 << 21 | 1U << 20 | 1U << 19 | (identifier & 0x3FFFF) << 1 | remote;
}

int FrameBits(const can_frame& frame) {
    assert(frame.can_dlc <= CAN_MAX_DLEN);
    const std::uint32_t field = ArbitrationField(frame.can_id);
    Wire wire;
    wire.Put(0, 1);  // start of frame
    if (frame.can_id & CAN_EFF_FLAG) {
        wire.Put(field, 32);
        wire.Put(0, 2);  // reserved
    } else {
        wire.Put(field >> 19, 13);
        wire.Put(0, 1);
    }
    wire.Put(frame.can_dlc, 4);
    if (!(frame.can_id & CAN_RTR_FLAG))
        for (int i = 0; i < frame.can_dlc; ++i) wire.Put(frame.data[i], 8);
    wire.PutChecksum();
    return wire.bits() + kTrailerBits + kIntermissionBits;
}

}  // namespace sim
