// What the updater's commands tell of its session: where it is, and which replies it did not take.
#include <algorithm>

#include "follower.h"
#include "littleendian.h"
#include "logpace.h"

namespace velmorin {
namespace {

constexpr std::size_t kNear = 64;  // groups that a search by address looks at
constexpr Micros kRestartQuiet = 3'000'000;

}  // namespace

bool Follower::StartsAnew(const can_frame& heartbeat, Micros at) const {
    if (!any_heartbeat_) return over_ && HasCommands() && at - end_.at > kRestartQuiet;
    const unsigned int number = GetLe16(heartbeat.data + kAtHeartbeatNumber);
    if (number == 0) return heart_last_ != 0 && heart_last_ != kHeartbeatWrap - 1;
    return number < heart_last_ && (over_ || at - last_command_ > kRestartQuiet);
}

void Follower::Command(const can_frame& frame, Micros at) {
    Advance(at);
    const auto pf = PfOf(frame.can_id);
    ++update_.commands;
    if (over_) NoteCommandAfterEnd(pf == kPfHeartbeat, at);
    last_command_ = at;
    switch (pf) {
        case kPfHeartbeat:
            Heartbeat(frame.data, at);
            return;
        case kPfStartDownload:
            Sent(kStartExchange, at, IsUnanswered(kStartExchange, pf));
            if (step_ > kStepStartDownload || step_ == kStepIdle) StartsOver();
            Enter(kStepStartDownload, at);
            break;
        case kPfAddressRequest:
            Sent(kAddressExchange, at, IsUnanswered(kAddressExchange, pf));
            update_.size_asked = GetLe32(frame.data + kAtImageSize);
            Enter(kStepRequestAddress, at);
            break;
        case kPfGroupStart:
            GroupStart(GetLe32(frame.data + kAtGroupAddress), at);
            break;
        case kPfData:
            Data(frame.data[kAtPacketIndex], at);
            break;
        case kPfGroupEnd:
            Sent(kGroupEndExchange, at, IsUnanswered(kGroupEndExchange, pf));
            GroupEnd(at);
            break;
        case kPfProgramCheck:
            Sent(kCheckExchange, at, IsUnanswered(kCheckExchange, pf));
            ForgetOwedStarts();
            if (end_.code == kResultGroupRejected) over_ = false;  // a fourth start was not due after all
            // It is sent when no group is left: the last verdict was right, wherever it is.
            if (group_ended_ && FirstUnconfirmed() == working_) {
                Group(working_).confirmed = true;
                Group(working_).last = update_.data_to = at;
            }
            groups_in_all_ = FirstUnconfirmed();
            if (IsInData()) step_ = kStepProgramCheck;  // only the last verdict leads here
            Enter(kStepProgramCheck, at);
            break;
        case kPfReset:
            Sent(kResetExchange, at, IsUnanswered(kResetExchange, pf));
            update_.reset_sent = true;
            Enter(kStepReset, at);
            break;
        default:
            break;
    }
    last_pf_ = pf;
}

/// The link was lost, just now or by heartbeats that are not in the log.
void Follower::StartsOver() {
    if (heart_miss_ > kMissedLimit) LoseLink();
    if (update_.idle_since != 0) update_.no_go_aheads.Note(update_.idle_since);
    update_.idle_since = 0;
    heart_miss_ = 0;
    hidden_answered_ = static_cast<unsigned int>(passes_ / kBeat);
}

/// Commands show the step, except that one may have been on its way when a reply changed it.
void Follower::Enter(Step step, Micros at) {
    if (at <= replied_at_ + kPass && replied_at_ != 0) return;
    step_ = step;
}

void Follower::Heartbeat(const std::uint8_t* data, Micros at) {
    const unsigned int number = GetLe16(data + kAtHeartbeatNumber);
    if (any_heartbeat_ && number != 0 && number < heart_last_) update_.two_updaters = true;
    if (any_heartbeat_ && number > heart_last_ + 1 && !update_.two_updaters)
        update_.lost += number - heart_last_ - 1;
    any_heartbeat_ = true;
    heart_last_ = number;
    heart_at_ = at;
    passes_ = 0;
    hidden_answered_ = 0;
    ++heart_miss_;
    ++update_.heartbeats;
}

/// Which group a start with this address is for. `owed`: that start was due already.
std::size_t Follower::GroupOfStart(std::uint32_t address, bool* owed) {
    const std::size_t first = FirstUnconfirmed();
    const std::size_t near = first > kNear ? first - kNear : 0;
    for (std::size_t i = first > 2 ? first - 2 : 0; i <= first; ++i) {  // starts go out as they fell due
        *owed = Group(i).owed > 0 && Group(i).address == address;
        if (*owed) return i;
    }
    if (Group(first).address == address) return first;
    for (std::size_t i = first; i-- > near;) {  // confirmed here, but the updater did not take the verdict
        if (Group(i).address != address) continue;
        for (std::size_t j = i; j < first; ++j) Group(j).confirmed = false;
        unconfirmed_ = i;
        return i;
    }
    *owed = Group(first).owed > 0;
    // An address that is not in the log, or a new one for a group that got no further than its start.
    if (Group(first).starts == 0 || (first == working_ && next_packet_ == 0 && !group_ended_)) return first;
    Group(first).confirmed = true;  // a verdict that is not in the log
    ++update_.lost;
    *owed = false;
    return FirstUnconfirmed();
}

void Follower::GroupStart(std::uint32_t address, Micros at) {
    bool owed = false;
    groups_in_all_ = kUnknown;
    const std::size_t index = GroupOfStart(address, &owed);
    const bool again = IsUnanswered(kGroupStartExchange, kPfGroupStart) && index == working_;
    GroupFacts& group = Group(index);
    if (group.address != address) {
        group.address = address;
        group.addressed = true;
        waiting_ = std::max(waiting_, index + 1);
    }
    if (owed) {
        --group.owed;
        if (index == FirstUnconfirmed() && at > start_due_ - kResend + kPass * 3 / 2)
            start_due_ = at + kResend;
    } else {
        step_ = kStepStartGroup;
        start_due_ = at + kResend;
    }
    if (index == FirstUnconfirmed()) group_address_ = address;
    if (group.starts < 0xFFFF) ++group.starts;
    if (group.starts == 1) group.first = at;
    group.last = at;
    group.missing = 0;
    working_ = index;
    next_packet_ = 0;
    group_ended_ = false;
    if (update_.data_from == 0) update_.data_from = at;
    Sent(kGroupStartExchange, at, again);
}

/// A verdict that came before its group end confirmed the group, but the updater goes on with its packets: it
/// did not take it.
void Follower::TakeBackEarlyVerdict() {
    if (early_ < 0 || static_cast<std::size_t>(early_) != working_ || Group(working_ + 1).starts > 0) return;
    ForgetOwedStarts();
    Group(working_).confirmed = false;
    unconfirmed_ = working_;
    group_address_ = Group(working_).address;
    early_ = -1;
}

void Follower::Data(std::uint8_t index, Micros at) {
    if (at > replied_at_ + 3 * kPass) TakeBackEarlyVerdict();
    Enter(kStepData, at);
    if (update_.groups.empty() && update_.data_from == 0) update_.data_from = at;
    GroupFacts& group = Group(working_);
    group.last = at;
    if (index < next_packet_) {
        ++update_.doubled;
        return;
    }
    const auto gap = static_cast<std::uint16_t>(index - next_packet_);
    const bool from_start = group.starts > 0;
    next_packet_ = index + 1;
    if (gap == 0 || !from_start) return;
    group.missing = static_cast<std::uint16_t>(group.missing + gap);
    update_.lost += gap;
    update_.missing_packets.Note(at, static_cast<int>(working_), gap);
    update_.AddMark(at, Mark::kLost, static_cast<int>(working_));
}

void Follower::GroupEnd(Micros at) {
    if (at > replied_at_ + 3 * kPass) TakeBackEarlyVerdict();
    GroupFacts& group = Group(working_);
    if (!group_ended_ && group.starts > 0 && next_packet_ < kPacketsPerGroup && last_pf_ != kPfGroupEnd) {
        const auto gap = static_cast<std::uint16_t>(kPacketsPerGroup - next_packet_);
        group.missing = static_cast<std::uint16_t>(group.missing + gap);
        update_.lost += gap;
        update_.missing_packets.Note(at, static_cast<int>(working_), gap);
        update_.AddMark(at, Mark::kLost, static_cast<int>(working_));
    }
    group.last = at;
    group_ended_ = true;
    Enter(kStepGroupEnd, at);
}

/// What was thought to be due was not.
void Follower::ForgetOwedStarts() {
    const std::size_t first = FirstUnconfirmed();
    for (std::size_t i = first; i < std::min(update_.groups.size(), first + 2); ++i) Group(i).owed = 0;
}

}  // namespace velmorin
