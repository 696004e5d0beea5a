#include "faultyline.h"

#include <algorithm>

void FaultyLine::Offer(const can_frame& frame, std::int64_t now_ms) {
    if (Happens(faults_.lost)) return;
    std::uniform_int_distribution<int> later(0, std::max(faults_.slow_ms, 20));
    Queue(frame, now_ms + (Happens(faults_.slow) ? later(random_) : 0));
    if (Happens(faults_.doubled)) Queue(frame, now_ms + later(random_));
}

void FaultyLine::Queue(can_frame frame, std::int64_t due_ms) {
    if (Happens(faults_.mangled)) Mangle(frame);
    if (faults_.in_order && !waiting_.empty()) due_ms = std::max(due_ms, waiting_.back().due_ms);
    const auto at = std::ranges::upper_bound(waiting_, due_ms, {}, &Waiting::due_ms);
    waiting_.insert(at, {due_ms, frame});
}

/// Flips one to three bits of the identifier or the data.
void FaultyLine::Mangle(can_frame& frame) {
    for (auto flips = random_() % 3 + 1; flips > 0; --flips) {
        const auto bit = random_() % (29 + 64);
        if (bit < 29) {
            frame.can_id ^= 1U << bit;
        } else {
            frame.data[(bit - 29) / 8] ^= static_cast<unsigned char>(1U << (bit - 29) % 8);
        }
    }
}

std::optional<can_frame> FaultyLine::Take(std::int64_t now_ms) {
    if (now_ms < held_until_ || waiting_.empty() || waiting_.front().due_ms > now_ms) return std::nullopt;
    const can_frame frame = waiting_.front().frame;
    waiting_.erase(waiting_.begin());
    return frame;
}
