#include "sessionrules.h"

#include <algorithm>

using namespace velmorin;

namespace {

std::vector<int> States(const canframe& session) {
    std::vector<int> states;
    for (const s_addnode& group : session.m_addlist) states.push_back(group.state);
    return states;
}

}  // namespace

SessionRules::SessionRules(canframe& session, Desk& desk,
                           std::function<void(Desk::Way, const can_frame&)> then)
    : session_(session), confirmed_(States(session)) {
    desk.seen = [this, then = std::move(then)](Desk::Way way, const can_frame& frame) {
        if (way == Desk::kToDevice) written_.push_back(frame);
        if (way == Desk::kToUpdater) taken_ = frame;
        if (then) then(way, frame);
    };
}

std::string SessionRules::Pass() {
    written_.clear();
    taken_.reset();
    heartmiss_ = session_.m_heartmiss;
    packid_ = session_.m_packid;
    session_.Runloop();
    std::string first = BrokenState();
    if (first.empty()) first = BrokenGroups();
    if (first.empty()) first = BrokenEnd();
    if (first.empty()) first = BrokenWrites();
    confirmed_ = States(session_);
    return first;
}

unsigned int SessionRules::Took() const {
    return taken_ && (taken_->can_id & (CAN_EFF_FLAG | CAN_ERR_FLAG)) != 0 ? PfOf(taken_->can_id) : 0;
}

std::string SessionRules::BrokenState() const {
    const canframe& s = session_;
    constexpr int kSteps[] = {-2, -1, 0, 2, 3, 4, 5, 6, 7, 8, 9};
    if (std::ranges::find(kSteps, s.m_runstep) == std::end(kSteps)) return "unknown step";
    if (s.m_waittime < 0 || s.m_waittime > 500 || s.m_waittime % 10 != 0) return "resend timer";
    if (s.m_mailbox.size() > 2 + s.m_loopcount / 100) return "mailbox grows";
    if (heartmiss_ > 3 && Took() != 0x71 && (s.m_runstep != 0 || s.m_heartmiss > 1))
        return "a lost link did not start over";
    if (s.m_rxseq == 0)
        return s.m_rxpos + s.m_rxframes + s.m_rxlength == 0 ? "" : "message idle but not clear";
    if (s.m_rxpos != 7 * s.m_rxseq - 3 || s.m_rxpos > 256) return "message position";
    return s.m_rxlength >= 8 && s.m_rxlength <= 250 ? "" : "message length";
}

std::string SessionRules::BrokenGroups() const {
    const std::vector<int> now = States(session_);
    int changed = 0;
    auto group = session_.m_addlist.begin();
    for (std::size_t i = 0; i < now.size(); ++i, ++group) {
        if (now[i] == confirmed_[i]) continue;
        ++changed;
        if (now[i] != kConfirmed || !group->dataqueue.empty())
            return "a group opens again or keeps its packets";
    }
    const bool verdict = Took() == kPfGroupEndReply && taken_->data[kAtStatus] == kGroupRight;
    return changed > (verdict ? 1 : 0) ? "groups confirmed without a verdict" : "";
}

std::string SessionRules::BrokenEnd() const {
    const canframe& s = session_;
    const bool refused = Took() == 0x7D && taken_->can_dlc > 3 && taken_->data[3] != 0;
    if (s.m_finished != 1) return Took() == 0x7F || refused ? "a reply did not end the job" : "";
    if (Took() == 0x7F) return s.m_errorcode == 0 ? "" : "a reset reply ended the job with a fault";
    if (s.m_errorcode == 0) return "success without a reset reply";
    const bool link_lost_while_closing = s.m_runstep == 0 && s.m_heartmiss == 0;
    if (s.m_runstep == -1 || link_lost_while_closing) return "";
    return refused && s.m_errorcode == 5 ? "" : "ended by nothing";
}

std::string SessionRules::BrokenWrites() {
    constexpr unsigned char kCommands[] = {0x70, 0x72, 0x74, 0x77, 0x7A, 0x7C, 0x7E};
    constexpr unsigned char kClearing[] = {0x08, 0x73, 0x76, 0x78, 0x7B, 0x7D};
    if (std::ranges::find(kClearing, Took()) != std::end(kClearing)) std::ranges::fill(last_, 0);
    if (!written_.empty() && session_.m_packid == packid_ + 1) written_.erase(written_.begin());  // a packet
    for (const can_frame& frame : written_) {
        const unsigned int pf = PfOf(frame.can_id);
        if (written_.size() > 1) return "more than one packet and one command in a pass";
        const auto device = static_cast<unsigned int>(session_.m_chargeaddress & 0xFF) << 8;
        if (frame.can_id != (0x9000008AU | pf << 16 | device) || frame.can_dlc != 8)
            return "wrong identifier";
        if (std::ranges::find(kCommands, pf) == std::end(kCommands)) return "command that no step sends";
        if (pf == 0x70 || !session_.m_mailbox.empty())
            continue;  // one that had to wait says nothing of the pace
        if (last_[pf] != 0 && session_.m_loopcount - last_[pf] < 50) return "command sent again too soon";
        last_[pf] = session_.m_loopcount;
    }
    if (session_.m_runstep == 0) std::ranges::fill(last_, 0);  // the link was lost: all begins anew
    return "";
}
