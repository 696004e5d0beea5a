// What the updater's session does on each reply, in whatever step it comes and whoever sent it.
#include <algorithm>

#include "follower.h"
#include "littleendian.h"
#include "logpace.h"

namespace velmorin {
namespace {

constexpr std::size_t kNear = 64;  // groups that a search by address looks at

}  // namespace

void Follower::Reply(const can_frame& frame, Micros at, bool stranger) {
    Advance(at);
    const auto pf = PfOf(frame.can_id);
    const bool closing =
        over_ && end_.code == kResultGroupRejected && at <= end_.at + kPass && !closing_read_;
    if (over_ && !closing && stranger) return;
    if (stranger) {
        update_.strangers.Note(at);
    } else {
        ++update_.replies;
        CountReply(pf, at);
        if (pf == kPfHeartbeatReply && GetLe16(frame.data + kAtHeartbeatNumber) == heart_last_ &&
            heart_miss_ > 0) {
            const Micros took = at - heart_at_;
            least_latency_ = least_latency_ == 0 ? took : std::min(least_latency_, took);
        }
    }
    if (!over_) return Dispatch(pf, frame.data, at, stranger);
    if (!closing) return;  // nobody reads it
    // The session reads one more frame before it closes, and may be led back into the job by it.
    const End before = end_;
    over_ = false;
    step_ = kStepClosing;
    Dispatch(pf, frame.data, at, stranger);
    if (over_ || step_ != kStepClosing) return;
    EndWith(before.code, before.at, before.status);
    closing_read_ = true;
    const auto number =
        heart_last_ + static_cast<unsigned int>(passes_ / kBeat);  // of the last heartbeat, in the log or not
    if (pf == kPfHeartbeatReply && GetLe16(frame.data + kAtHeartbeatNumber) != number)
        end_.code = kResultHeartbeat;
}

/// The exchange that a reply belongs to.
void Follower::CountReply(std::uint8_t pf, Micros at) {
    switch (pf) {
        case kPfHeartbeatReply:
            ++update_.heartbeat_replies;
            break;
        case kPfStartDownloadReply:
            Answered(kStartExchange, at);
            break;
        case kPfAddressReply:
            Answered(kAddressExchange, at);
            break;
        case kPfGroupStartReply:
            Answered(kGroupStartExchange, at);
            break;
        case kPfGroupEndReply:
            Answered(kGroupEndExchange, at);
            break;
        case kPfProgramCheckReply:
            Answered(kCheckExchange, at);
            break;
        case kPfResetReply:
            Answered(kResetExchange, at);
            break;
        default:
            break;
    }
}

void Follower::Dispatch(std::uint8_t pf, const std::uint8_t* data, Micros at, bool stranger) {
    if (pf != kPfHeartbeatReply) replied_at_ = at;
    switch (pf) {
        case kPfVersionCheckReply:
            if (VersionPasses(data)) {
                step_ = kStepBegin;
            } else {
                EndWith(kResultVersion, at, data[kAtVersionNumber]);
            }
            break;
        case kPfHeartbeatReply:
            if (heart_miss_ > kMissedForLink + 1 && IsInData() && at - replied_at_ > heart_miss_ * kBeat)
                update_.dropouts.Note(at);
            heart_miss_ = 0;
            hidden_answered_ = static_cast<unsigned int>(passes_ / kBeat);
            break;
        case kPfStartDownloadReply:
            StartReply(data, at);
            break;
        case kPfAddressReply:
            GiveAddress(GetLe32(data + kAtNextAddress), at);
            step_ = kStepIdle;
            left_idle_ = false;
            update_.idle_since = at;
            break;
        case kPfGoAhead:
            EnterStartGroup(at);
            break;
        case kPfGroupStartReply:
            step_ = kStepData;
            break;
        case kPfGroupEndReply:
            Verdict(data, at);
            break;
        case kPfProgramCheckReply:
            step_ = kStepReset;
            if (data[kAtStatus] != kAccepted) EndWith(kResultProgramCheck, at, data[kAtStatus]);
            break;
        case kPfResetReply: {
            const bool forged = stranger || !update_.reset_sent;
            if (forged) update_.forged_resets.Note(at);
            EndWith(kResultSuccess, at, data[kAtStatus], forged);
            break;
        }
        default:
            break;
    }
}

void Follower::StartReply(const std::uint8_t* data, Micros at) {
    update_.plan = data[kAtPlan];
    step_ = kStepRequestAddress;
    if (data[kAtStatus] != kAccepted) EndWith(kResultRefused, at, data[kAtStatus]);
}

/// Confirms the group whose start was the last one due, as the session does, whatever the verdict meant.
bool Follower::ConfirmCurrent(Micros at) {
    const std::size_t first = FirstUnconfirmed();
    const std::size_t limit = std::min(update_.groups.size(), first + kNear);
    for (std::size_t i = first; i < limit; ++i) {
        GroupFacts& group = update_.groups[i];
        if (group.confirmed || group.address != group_address_) continue;
        group.confirmed = true;
        group.last = at;
        update_.data_to = at;
        const bool early = i != working_ || (!group_ended_ && next_packet_ < kPacketsPerGroup);
        early_ = early ? static_cast<std::ptrdiff_t>(i) : -1;
        if (early) update_.early_verdicts.Note(at, static_cast<int>(i));
        return true;
    }
    return false;
}

void Follower::Verdict(const std::uint8_t* data, Micros at) {
    const auto group = static_cast<int>(working_);
    if (data[kAtStatus] == kGroupRight) {
        ConfirmCurrent(at);
        GiveAddress(GetLe32(data + kAtNextAddress), at);
    } else {
        GroupFacts& facts = Group(working_);
        std::uint8_t& count = data[kAtStatus] == kGroupWrong ? facts.refused : facts.unerased;
        if (count < 0xFF) ++count;
        (data[kAtStatus] == kGroupWrong ? update_.refusals : update_.erase_failures).Note(at, group);
        update_.device_status = data[kAtStatus];
        facts.last = at;
        update_.AddMark(at, Mark::kRefused, group);
    }
    EnterStartGroup(at);
}

void Follower::GiveAddress(std::uint32_t address, Micros at) {
    // A device that forgot its transfer begins with its first address again.
    if (waiting_ > 1 && address == Group(0).address)
        update_.restarts.Note(at, static_cast<int>(FirstUnconfirmed()));
    GroupFacts& group = Group(waiting_++);
    group.address = address;
    group.addressed = true;
}

void Follower::EnterStartGroup(Micros at) {
    update_.idle_since = 0;
    step_ = kStepStartGroup;
    if (FirstUnconfirmed() < groups_in_all_) {
        StartDue(at);
    } else {
        step_ = kStepProgramCheck;
    }
}

/// The session starts the first unconfirmed group, or ends the job. Whether there is such a group is seen
/// from the next command.
void Follower::StartDue(Micros at) {
    const std::size_t index = FirstUnconfirmed();
    GroupFacts& group = Group(index);
    start_due_ = at + kResend;
    if (StartsOf(index) >= kMaxGroupStarts) {
        // Starts that are not in the log were only made while the link held.
        if (group.owed == 0 || LinkHeldSince(replied_at_, at))
            EndWith(kResultGroupRejected, at, update_.device_status);
        start_due_ = kNever;
        return;
    }
    ++group.owed;
    group_address_ = group.address;
}

GroupFacts& Follower::Group(std::size_t index) {
    while (update_.groups.size() <= index) {
        GroupFacts& group = update_.groups.emplace_back();
        group.address = static_cast<std::uint32_t>(kGroupSize * update_.groups.size());
    }
    return update_.groups[index];
}

std::size_t Follower::FirstUnconfirmed() {
    while (Group(unconfirmed_).confirmed) ++unconfirmed_;
    return unconfirmed_;
}

}  // namespace velmorin
