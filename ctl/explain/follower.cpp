// A followed update's clock: link losses, starts that are due, the end; and its exchanges.
#include "follower.h"

#include <algorithm>
#include <utility>

#include "logpace.h"

namespace velmorin {
namespace {

constexpr Micros kMs = 1000;
constexpr Micros kLateRead = 3'000 * kMs;    // a full receive queue delays a reply by at most so much
constexpr Micros kQuietLimit = 3'000 * kMs;  // an updater that runs sends a heartbeat a second,
constexpr Micros kIdleLimit = 12'000 * kMs;  // or, while it waits for the go-ahead, every eleven seconds

Phase PhaseOf(Step step) {
    switch (step) {
        case kStepClosing:
        case kStepLinkWait:
        case kStepBegin:
            return kPhaseLink;
        case kStepStartDownload:
        case kStepRequestAddress:
            return kPhaseStart;
        case kStepIdle:
            return kPhaseErase;
        case kStepStartGroup:
        case kStepData:
        case kStepGroupEnd:
            return kPhaseData;
        case kStepProgramCheck:
            return kPhaseCheck;
        case kStepReset:
            return kPhaseReset;
    }
    return kPhaseLink;
}

}  // namespace

Follower::Follower(std::string interface, std::uint8_t charge, Micros at) : now_(at), last_command_(at) {
    update_.interface = std::move(interface);
    update_.charge = charge;
    update_.started = update_.ended = at;
}

/// Gives the time since the last frame to the phase that took it.
void Follower::Spend(Micros at) {
    const Micros from = std::exchange(now_, at);
    if (over_ || at <= from) return;
    CountPasses(at - from);
    const Phase phase = PhaseOf(step_);
    update_.phases[phase] += at - from;
    std::vector<Stretch>& course = update_.course;
    if (!course.empty() && course.back().phase == phase && course.back().to == from) {
        course.back().to = at;
    } else if (course.size() < Update::kMaxMarks) {
        course.push_back({from, at, phase});
    }
}

/// Counts passes from the last heartbeat in the log, at the pace of the step. Heartbeats that are not in the
/// log may lose the link unseen and end the slow passes of the idle step.
void Follower::CountPasses(Micros time) {
    constexpr Micros kSlowness = (kPassMs + kIdlePauseMs) / kPassMs;
    if (step_ == kStepIdle && !left_idle_) {
        const Micros seen = passes_ / kBeat + heart_miss_ - hidden_answered_;
        const Micros loss = (passes_ / kBeat + kMissedLimit + 1 - seen % (kMissedLimit + 1)) * kBeat + kPass;
        const Micros slow = std::min(time, (loss - passes_) * kSlowness);
        passes_ += slow / kSlowness;
        time -= slow;
        left_idle_ = time > 0;
    }
    passes_ += time;
}

/// Brings up to `at`, exclusive, what happens without a frame: a link is lost in the pass after the fourth
/// unanswered heartbeat, and group starts fall due. A start that is not in the log gets a little time to
/// appear in it; the fourth never appears.
void Follower::Advance(Micros at) {
    const Micros loss = heart_miss_ > kMissedLimit ? heart_at_ + kPass : at;
    Spend(at);
    while (step_ == kStepStartGroup && !over_) {
        const bool last = StartsOf(FirstUnconfirmed()) >= kMaxGroupStarts;
        const Micros limit = loss < at ? loss + 1 : at - (last ? 0 : 2 * kPass);
        if (start_due_ >= limit) break;
        StartDue(start_due_);
    }
    if (loss < at) LoseLink();
}

/// False when heartbeats that are not in the log, and so are unanswered, were enough to lose the link. All of
/// the time was spent outside the idle step; `to` is not behind the last frame.
bool Follower::LinkHeldSince(Micros from, Micros to) const {
    const auto heartbeats = [&](Micros at) {
        const Micros passes = passes_ - (now_ - at) - kPass;
        return passes < 0 ? 0U : static_cast<unsigned int>(passes / kBeat);
    };
    if (!any_heartbeat_) return false;
    const unsigned int before = std::max(heartbeats(from), hidden_answered_);
    const unsigned int missed = (heart_miss_ + before - hidden_answered_) % (kMissedLimit + 1);
    return missed + std::max(heartbeats(to), before) - before <= kMissedLimit;
}

void Follower::LoseLink() {
    const Micros at = heart_at_ + kPass;
    heart_miss_ = 0;
    // The step that ends the job for a fourth start is undone when the link is lost in the same pass.
    if (over_ && end_.code == kResultGroupRejected && end_.at == at) over_ = false;
    if (over_) return;
    if (step_ == kStepIdle) update_.no_go_aheads.Note(update_.idle_since);
    step_ = kStepLinkWait;
    update_.idle_since = 0;
    update_.link_losses.Note(at, update_.groups.empty() ? -1 : static_cast<int>(working_));
    update_.AddMark(at, Mark::kLinkLost);
}

void Follower::EndWith(int code, Micros at, int status, bool forged) {
    over_ = true;
    end_ = {code, at, status, forged};
    closing_read_ = false;
    commands_after_end_ = 0;
}

/// One command may still be on its way when a job ends, and a reply may be read late. An updater that goes on
/// beyond that did not take the end for one: it is guarded, or its job had not come to this.
void Follower::NoteCommandAfterEnd(bool is_heartbeat, Micros at) {
    ++commands_after_end_;
    const bool closing = end_.code == kResultGroupRejected;
    const bool goes_on = closing ? (is_heartbeat ? commands_after_end_ > 2 : at > end_.at + kPass * 3 / 2)
                                 : commands_after_end_ > 3;
    if (!goes_on) return;
    over_ = false;
    passed_over_ = closing ? std::nullopt : std::optional(end_);
}

/// `again`: the command goes out once more because its reply has not come.
void Follower::Sent(ExchangeKind kind, Micros at, bool again) {
    Exchange& exchange = update_.exchanges[kind];
    const bool of_group = kind == kGroupStartExchange || kind == kGroupEndExchange;
    if (!again) {
        CloseExchange(kind);
        exchange.group = of_group ? static_cast<int>(working_) : -1;
        exchange.sends = 1;
        exchange.since = exchange.last = at;
        exchange.late = false;
        return;
    }
    ++exchange.sends;
    exchange.last = at;
    ++update_.resends;
    update_.AddMark(at, Mark::kResend, exchange.group);
}

void Follower::Answered(ExchangeKind kind, Micros at) {
    Exchange& exchange = update_.exchanges[kind];
    if (exchange.replies++ > 0) return;
    exchange.answered = at;
    // Sooner after the last send than the device ever answered: it is the reply to an earlier one.
    exchange.late = exchange.sends > 1 && at - exchange.last < least_latency_ - least_latency_ / 10;
}

/// Counts what the exchange that ends here lacked or had too much of.
void Follower::CloseExchange(ExchangeKind kind) {
    Exchange& exchange = update_.exchanges[kind];
    const std::uint32_t sends = exchange.sends;
    const std::uint32_t replies = exchange.replies;
    if (sends == 0 && replies > 0) {
        ++update_.lost;
        update_.doubled += replies - 1;
    } else if (sends > 1 && (replies > 1 || exchange.late)) {
        update_.late = std::max(update_.late, exchange.answered - exchange.since);
    } else if (sends > 0) {
        update_.lost += sends - 1;  // the last one's reply may still have come after the log's end
    }
    if (sends > 0 && replies > sends) update_.doubled += replies - sends;
    if (sends > exchange.most_sends) {
        exchange.most_sends = sends;
        exchange.most_since = exchange.since;
        exchange.most_group = exchange.group;
    }
    exchange.sends = exchange.replies = 0;
}

bool Follower::IsUnanswered(ExchangeKind kind, std::uint8_t pf) const {
    return last_pf_ == pf && update_.exchanges[kind].sends > 0 && update_.exchanges[kind].replies == 0;
}

void Follower::BusError(const can_frame& frame, Micros at) {
    update_.bus_errors.Note(at);
    if ((frame.can_id & kErrorNoAck) != 0) update_.unacknowledged.Note(at);
    if ((frame.can_id & kErrorBusOff) != 0) update_.bus_off.Note(at);
}

/// The result, by the end that the frames show or that is left as the only one.
void Follower::Judge(Micros end, bool ran, bool replaced) {
    if (!over_ && passed_over_ && last_command_ <= passed_over_->at + kLateRead) {
        over_ = true;
        end_ = *passed_over_;
    }
    // Where it is not known to have run, an updater that sent none of a group's starts was stopped before.
    if (over_ && !ran && end_.code == kResultGroupRejected && Group(FirstUnconfirmed()).starts == 0)
        over_ = false;
    const bool third_start = step_ == kStepStartGroup &&
                             update_.exchanges[kGroupStartExchange].replies == 0 &&
                             Group(FirstUnconfirmed()).starts >= kMaxGroupStarts;
    if (!over_ && !ran && third_start) EndWith(kResultGroupRejected, now_, -1);
    if (over_) {
        update_.result = end_.code;
        update_.ended = end_.at;
        update_.device_status = end_.status;
        update_.forged_end = end_.forged;
        return;
    }
    const Micros limit = step_ == kStepIdle ? kIdleLimit : kQuietLimit;
    update_.fell_silent = HasCommands() && !ran && (replaced || end - last_command_ > limit);
    if (update_.fell_silent) update_.result = kResultInterrupted;
    update_.ended = update_.fell_silent ? last_command_ : end;
}

/// Takes back what was spent behind the end.
void Follower::Shorten() {
    std::vector<Stretch>& course = update_.course;
    while (!course.empty() && course.back().to > update_.ended) {
        Stretch& last = course.back();
        const Micros to = std::max(last.from, update_.ended);
        update_.phases[last.phase] -= std::exchange(last.to, to) - to;
        if (last.from < to) break;
        course.pop_back();
    }
}

Update Follower::Finish(Micros end, bool ran, bool replaced) {
    Advance(std::max(end, now_));
    Judge(end, ran, replaced);
    update_.step = step_;
    Shorten();
    for (int kind = 0; kind < kExchanges; ++kind) {
        const auto running = update_.exchanges[kind];
        CloseExchange(static_cast<ExchangeKind>(kind));
        update_.exchanges[kind].sends = running.sends;  // what is unanswered says why it went no further
        update_.exchanges[kind].replies = running.replies;
    }
    while (!update_.groups.empty() && update_.groups.back().starts == 0) update_.groups.pop_back();
    update_.AddMark(update_.ended, Mark::kEnd);
    return std::move(update_);
}

}  // namespace velmorin
