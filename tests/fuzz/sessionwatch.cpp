#include "sessionwatch.h"

#include <algorithm>
#include <cstring>
#include <utility>

using namespace velmorin;

using membus::PfOf;
using membus::TheBus;

namespace {

constexpr int kNoStep = -3;
constexpr unsigned int kResendPasses = 51;  // 50 to count the timer down, and the one that finds it run out

/// The step that sends this command, or kNoStep.
int StepOf(unsigned int pf) {
    constexpr std::pair<unsigned int, int> kSteps[] = {{0x72, 3}, {0x74, 4}, {0x77, 5},
                                                       {0x7A, 7}, {0x7C, 8}, {0x7E, 9}};
    for (const auto& [command, step] : kSteps) {
        if (command == pf) return step;
    }
    return kNoStep;
}

/// The PF of the frame that the pass took; 0 without one, and for a standard identifier, which has none.
unsigned int ReplyPf() {
    const auto& taken = TheBus().taken;
    return taken && (taken->can_id & (CAN_EFF_FLAG | CAN_ERR_FLAG)) != 0 ? PfOf(*taken) : 0;
}

/// Replies that clear the resend timer.
bool ClearsTimer(unsigned int pf) {
    constexpr unsigned char kReplies[] = {0x08, 0x73, 0x76, 0x78, 0x7B, 0x7D};
    return std::ranges::find(kReplies, pf) != std::end(kReplies);
}

}  // namespace

SessionWatch::SessionWatch(const canframe& session) : session_(session) {
    for (const s_addnode& node : session.m_addlist) {
        groups_.push_back({&node, node.state, node.addrstate, node.sendcount, node.state != 0});
    }
}

std::string SessionWatch::Pass(canframe& session) {
    TheBus().offered.clear();
    TheBus().written.clear();
    TheBus().taken.reset();
    mailbox_ = session.m_mailbox.size();
    packid_ = session.m_packid;
    heartmiss_ = session.m_heartmiss;
    session.Runloop();
    std::string first;
    for (const std::string& broken : {BrokenNumbers(), BrokenReception(), BrokenGroups(), BrokenLink(),
                                      BrokenEnd(), BrokenWrites(), BrokenPace()}) {
        if (first.empty()) first = broken;
    }
    for (Group& group : groups_) {
        group.state = group.node->state;
        group.addrstate = group.node->addrstate;
        group.sendcount = group.node->sendcount;
    }
    return first;
}

std::string SessionWatch::BrokenNumbers() const {
    constexpr int kSteps[] = {-2, -1, 0, 2, 3, 4, 5, 6, 7, 8, 9};
    if (std::ranges::find(kSteps, session_.m_runstep) == std::end(kSteps)) return "unknown step";
    if (session_.m_waittime < 0 || session_.m_waittime > 500 || session_.m_waittime % 10 != 0)
        return "resend timer";
    if (session_.m_sendcount != 0) return "send count of the step";
    if (session_.m_heartmiss > 4) return "unanswered heartbeats";
    if (session_.m_mailbox.size() > 2 + session_.m_loopcount / 100) return "mailbox grows";
    return "";
}

std::string SessionWatch::BrokenReception() const {
    if (session_.m_rxseq == 0) {
        const bool clear = session_.m_rxpos == 0 && session_.m_rxframes == 0 && session_.m_rxlength == 0;
        return clear ? "" : "multi-frame state idle but not clear";
    }
    if (session_.m_rxpos != 4 + 7 * (session_.m_rxseq - 1) || session_.m_rxpos > 256)
        return "multi-frame position";
    if (session_.m_rxlength < 8 || session_.m_rxlength > 250) return "multi-frame length";
    return "";
}

std::string SessionWatch::BrokenGroups() const {
    if (session_.m_addlist.size() != groups_.size()) return "groups come or go";
    const bool verdict = ReplyPf() == 0x7B && TheBus().taken->data[3] == 0xAA;
    int confirmed = 0;
    int addressed = 0;
    for (const Group& before : groups_) {
        const s_addnode& now = *before.node;
        confirmed += now.state != before.state;
        addressed += now.addrstate != before.addrstate;
        if (before.foreign) continue;
        if (before.state == 1 && now.state != 1) return "a confirmed group is open again";
        if (now.state == 1 && !now.dataqueue.empty()) return "a confirmed group keeps its packets";
        if (before.addrstate == 1 && now.addrstate != 1) return "a group lost its address";
        if (now.sendcount < before.sendcount || now.sendcount > before.sendcount + 1)
            return "group starts miscounted";
        if (now.sendcount != before.sendcount && before.state == 1) return "a confirmed group was started";
        if (now.sendcount > 3) return "a group was started four times";
    }
    if (confirmed > 1 || addressed > 1) return "two groups changed in one pass";
    if (confirmed == 1 && !verdict) return "a group was confirmed without a verdict";
    return "";
}

std::string SessionWatch::BrokenLink() const {
    if (heartmiss_ <= 3 || ReplyPf() == 0x71) return "";
    return session_.m_runstep == 0 && session_.m_heartmiss <= 1 ? "" : "a lost link did not start over";
}

std::string SessionWatch::BrokenEnd() const {
    const unsigned int reply = ReplyPf();
    const bool refused = reply == 0x7D && TheBus().taken->can_dlc > 3 && TheBus().taken->data[3] != 0;
    if (session_.m_finished != 1) return reply == 0x7F || refused ? "a reply did not end the job" : "";
    if (reply == 0x7F) return session_.m_errorcode == 0 ? "" : "a reset reply ended the job with a fault";
    if (session_.m_errorcode == 0) return "success without a reset reply";
    const bool link_lost_while_closing = session_.m_runstep == 0 && session_.m_heartmiss == 0;
    if (session_.m_runstep == -1 || link_lost_while_closing) return "";
    return reply == 0x7D && session_.m_errorcode == 5 ? "" : "ended by nothing";
}

std::string SessionWatch::BrokenWrites() const {
    const std::vector<can_frame>& offered = TheBus().offered;
    const std::size_t packets = SentPacket() ? 1U : 0U;
    if (offered.size() < packets) return "a packet was lost";
    if (packets == 1 && !IsPacketOfOpenGroup(offered.front())) return "packet of no open group";
    if (offered.size() > packets + 1) return "more than one packet and one command in a pass";
    if (offered.size() == packets) return "";
    const can_frame& command = offered.back();
    const unsigned int device = static_cast<unsigned int>(session_.m_chargeaddress) & 0xFF;
    if (command.can_id != (0x9000008AU | PfOf(command) << 16 | device << 8))
        return "command with a wrong identifier";
    if (command.can_dlc != 8) return "command with a wrong length";
    return PfOf(command) == 0x70 || StepOf(PfOf(command)) != kNoStep ? "" : "command that no step sends";
}

bool SessionWatch::IsPacketOfOpenGroup(const can_frame& frame) const {
    return std::ranges::any_of(groups_, [&](const Group& group) {
        const s_addnode& node = *group.node;
        const auto index = static_cast<std::size_t>(session_.m_packid - 1);
        return (group.foreign || node.state == 0) && node.address == session_.m_groupaddress &&
               index < node.dataqueue.size() &&
               std::memcmp(&node.dataqueue[index].frame, &frame, sizeof frame) == 0;
    });
}

/// Looks at what was queued in this pass: the tail of all that was written in it or still waits.
std::string SessionWatch::BrokenPace() {
    std::vector<unsigned int> commands;
    for (std::size_t i = SentPacket() ? 1U : 0U; i < TheBus().offered.size(); ++i) {
        commands.push_back(PfOf(TheBus().offered[i]));
    }
    for (const tagCAN_MailBox& waiting : session_.m_mailbox) commands.push_back(waiting.pf);
    if (commands.size() < mailbox_) return "a command was lost";
    commands.erase(commands.begin(), commands.begin() + static_cast<std::ptrdiff_t>(mailbox_));

    if (ClearsTimer(ReplyPf())) std::ranges::fill(last_queued_, 0);
    const unsigned int pass = session_.m_loopcount;
    std::size_t heartbeats = 0;
    for (const unsigned int pf : commands) {
        if (pf == 0x70) {
            ++heartbeats;
            continue;
        }
        if (session_.m_runstep != 0 && StepOf(pf) != session_.m_runstep) return "command of another step";
        if (last_queued_[pf] != 0 && pass - last_queued_[pf] < kResendPasses)
            return "command sent again too soon";
        last_queued_[pf] = pass;
    }
    if (session_.m_runstep == 0)
        std::ranges::fill(last_queued_, 0);  // the link was lost after the step's frame
    if (heartbeats != (pass % 100 == 0 ? 1U : 0U)) return "heartbeat out of its turn";
    return commands.size() - heartbeats > 1 ? "two commands queued in a pass" : "";
}
