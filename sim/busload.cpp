#include "busload.h"

#include <cstdio>

#include "framebits.h"
#include "protocol.h"

namespace sim {

using namespace velmorin;  // the protocol's names

void BusLoad::Add(const can_frame& frame, Nanos end) {
    const int bits = FrameBits(frame);
    const auto duration = [this](int count) { return count * kNanosPerSecond / bitrate_; };
    const bool extended = (frame.can_id & CAN_EFF_FLAG) != 0;
    const auto goes = [&](int source, int destination) {
        return extended && SourceOf(frame.can_id) == source && DestinationOf(frame.can_id) == destination;
    };
    const bool command = goes(kUpdaterAddress, address_);
    const bool reply = goes(address_, kUpdaterAddress);
    const std::uint8_t pf = PfOf(frame.can_id);

    bits_ += bits;
    if (!start_ && command && pf == kPfGroupStart) start_ = end - duration(bits - kIntermissionBits);
    if (!start_) return;
    bits_since_ += bits;
    if (command || reply) job_bits_since_ += bits;
    if (reply && pf == kPfGroupEndReply)
        window_ = Window{*start_, end + duration(kIntermissionBits), bits_since_, job_bits_since_};
}

std::string BusLoad::Text(Nanos now) const {
    char text[160];
    std::snprintf(text, sizeof text, "bus %d bit/s: busy %.1f %%", bitrate_, Percent(bits_, now - begin_));
    std::string line = text;
    if (!window_) return line;
    const Nanos span = window_->end - window_->start;
    std::snprintf(text, sizeof text,
                  "; %.2f %% from the first group start to the last verdict, %.2f %% with frames of the job",
                  Percent(window_->bits, span), Percent(window_->job_bits, span));
    return line + text;
}

double BusLoad::Percent(std::int64_t bits, Nanos span) const {
    if (span <= 0) return 0;
    return 100.0 * static_cast<double>(bits) * static_cast<double>(kNanosPerSecond) / bitrate_ /
           static_cast<double>(span);
}

}  // namespace sim
