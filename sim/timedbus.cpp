#include "timedbus.h"

#include <algorithm>
#include <limits>

#include "framebits.h"

namespace sim {

bool TimedBus::Offer(int node, const can_frame& frame, Nanos since) {
    if (frame.can_id & CAN_ERR_FLAG || frame.can_dlc > CAN_MAX_DLEN || Waiting(node) >= kRoom) return false;
    waiting_[node].push_back({frame, since});
    return true;
}

std::size_t TimedBus::Waiting(int node) const {
    const auto queue = waiting_.find(node);
    return queue == waiting_.end() ? 0 : queue->second.size();
}

std::optional<Nanos> TimedBus::NextEnd() const {
    const std::optional<Turn> next = Next();
    return next ? std::optional(EndOf(*next)) : std::nullopt;
}

std::optional<TimedBus::Passed> TimedBus::TakeEnded(Nanos now) {
    const std::optional<Turn> next = Next();
    if (!next || EndOf(*next) > now) return std::nullopt;
    const auto queue = waiting_.find(next->node);
    const Passed passed{next->node, queue->second.front().frame, EndOf(*next)};
    free_ = next->start + Duration(FrameBits(passed.frame));
    queue->second.pop_front();
    if (queue->second.empty()) waiting_.erase(queue);
    return passed;
}

/// Who is on the bus, or next on it, and since when.
std::optional<TimedBus::Turn> TimedBus::Next() const {
    if (waiting_.empty()) return std::nullopt;
    Nanos first = std::numeric_limits<Nanos>::max();
    for (const auto& [node, queue] : waiting_) first = std::min(first, queue.front().since);
    const Nanos start = std::max(free_, first);

    const can_frame* winner = nullptr;
    Turn turn{0, start};
    for (const auto& [node, queue] : waiting_) {
        const Queued& head = queue.front();
        if (head.since > start) continue;
        if (winner && ArbitrationField(head.frame.can_id) >= ArbitrationField(winner->can_id)) continue;
        winner = &head.frame;
        turn.node = node;
    }
    return turn;
}

Nanos TimedBus::EndOf(const Turn& turn) const {
    return turn.start + Duration(FrameBits(waiting_.at(turn.node).front().frame) - kIntermissionBits);
}

}  // namespace sim
