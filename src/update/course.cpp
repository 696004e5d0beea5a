#include "course.h"

#include <algorithm>
#include <utility>

#include "littleendian.h"

namespace velmorin {
namespace {

constexpr Micros kSecond = 1'000'000;
constexpr int kMostRestarts = 5;

Question QuestionOf(Step step) {
    switch (step) {
        case kStepRequestAddress:
            return Question::kAddressRequest;
        case kStepStartGroup:
            return Question::kGroupStart;
        case kStepGroupEnd:
            return Question::kGroupEnd;
        case kStepProgramCheck:
            return Question::kProgramCheck;
        case kStepReset:
            return Question::kReset;
        case kStepStartDownload:
        case kStepLinkWait:
        case kStepBegin:
        case kStepData:
        case kStepIdle:
        case kStepClosing:
            break;
    }
    return Question::kStartDownload;
}

bool HasStatus(std::uint8_t pf) {
    return pf == kPfStartDownloadReply || pf == kPfGroupEndReply || pf == kPfProgramCheckReply ||
           pf == kPfResetReply;
}

}  // namespace

Course::Course(canframe& session, const RunSettings& settings, Watcher& watcher, Micros now)
    : session_(session),
      settings_(settings),
      watcher_(watcher),
      guard_(session),
      groups_(&session.m_addlist),
      pace_(settings.pace),
      patience_(settings.patience_s, now),
      ignored_told_at_(now - kSecond) {}

// Frames in.

void Course::Take(const can_frame& frame, Micros now) {
    if (!Guard::IsReply(frame)) return;
    if (!settings_.trusting) {
        if (const char* objection = guard_.Objection(frame)) return Ignore(frame, objection);
        if (const std::string note = guard_.TakeNote(); !note.empty()) watcher_.OnNote(note);
    }
    heard_ = true;
    unsigned char data[kFrameLength] = {};
    std::copy_n(frame.data, std::min<int>(frame.can_dlc, kFrameLength), data);
    const std::uint8_t pf = PfOf(frame.can_id);
    if (pf == kPfHeartbeatReply) return TakeHeartbeat(data);
    if (!Act(pf, frame, data, now)) return;
    if (HasStatus(pf)) status_ = data[kAtStatus];
    if (pf == kPfStartDownloadReply) {
        confirmed_at_start_ = groups_.Confirmed();
        under_way_ = false;
    }
    if (pf == kPfGoAhead) under_way_ = true;
    if (pf == kPfGoAhead || pf == kPfStartDownloadReply) patience_.GoAheadSettled();
    if (pf == kPfResetReply) reset_confirmed_ = data[kAtStatus] == kResetDone;
    patience_.Answered();
    asked_.reset();
    unanswered_since_ = -1;
    if (session_.m_runstep == kStepIdle) {  // the go-ahead is waited for, though nothing asks for it
        if (!under_way_) patience_.AwaitGoAhead(now);
        unanswered_since_ = now;
    }
}

/// What the reply leads to. False when it is not taken for an answer.
bool Course::Act(std::uint8_t pf, const can_frame& frame, const unsigned char* data, Micros now) {
    if (pf == kPfStartDownloadReply && IsDoubtful(data)) {
        Ignore(frame, "not all address bytes of the job; believed when it comes again");
        return false;
    }
    if (pf == kPfAddressReply) return TakeAddress(frame, data);
    if (pf == kPfGroupEndReply) return TakeVerdict(frame, data, now);
    if (pf == kPfProgramCheckReply) return TakeCheck(data);
    session_.Dispatch(pf, data);
    return true;
}

/// One that is another reply in truth would choose the checksum plan for the whole job.
bool Course::IsDoubtful(const unsigned char* data) {
    const bool fits = data[kAtPort] == LowByte(session_.m_canport) &&
                      data[kAtDeviceType] == LowByte(session_.m_devtype) &&
                      data[kAtUpdateAddress] == LowByte(session_.m_updateaddress);
    return !fits && !settings_.trusting && !std::exchange(start_doubted_, true);
}

void Course::TakeHeartbeat(const unsigned char* data) {
    session_.Dispatch(kPfHeartbeatReply, data);
    if (session_.m_runstep == kStepLinkWait) patience_.Answered();
    if (session_.m_runstep != kStepLinkWait) TellLink();
}

/// An address for the next group. False when it is not taken: the request goes out again.
bool Course::TakeAddress(const can_frame& frame, const unsigned char* data) {
    s_addnode* holder = settings_.trusting ? nullptr : groups_.Holder(GetLe32(data + kAtNextAddress));
    if (holder == nullptr) {
        session_.Dispatch(kPfAddressReply, data);
        return true;
    }
    if (holder == groups_.Next()) {  // its own, named again
        session_.m_runstep = kStepIdle;
        return true;
    }
    // A device that names the address of a group it had taken before the download began has forgotten it.
    if (groups_.IndexOf(holder) < confirmed_at_start_) {
        StartAnew();
        session_.Dispatch(kPfAddressReply, data);
        return true;
    }
    Ignore(frame, "an address that another group has");
    return false;
}

/// A verdict on the current group. False when it is not believed: the group end goes out again.
bool Course::TakeVerdict(const can_frame& frame, const unsigned char* data, Micros now) {
    s_addnode* group = groups_.Next();
    const bool right = data[kAtStatus] == kGroupRight;
    // The verdict on a former group, come twice or late, names an address that has been given since.
    if (right && !settings_.trusting && !verdict_repeated_ &&
        groups_.Holder(GetLe32(data + kAtNextAddress)) != nullptr) {
        verdict_repeated_ = true;
        Ignore(frame, "names an address that a group has");
        return false;
    }
    last_verdict_ = now;
    if (group == nullptr) {
        session_.Dispatch(kPfGroupEndReply, data);
        return true;
    }
    const Verdict verdict = right                            ? Verdict::kRight
                            : data[kAtStatus] == kGroupWrong ? Verdict::kWrong
                                                             : Verdict::kEraseFailed;
    const GroupVerdict told{groups_.IndexOf(group), session_.m_groupaddress, ++attempts_, verdict};
    if (right) {
        Confirm(group, data, now);
    } else {
        session_.Dispatch(kPfGroupEndReply, data);
        if (!pace_.SlowDown()) ++refusals_;
    }
    watcher_.OnGroup(told);
    return true;
}

void Course::Confirm(s_addnode* group, const unsigned char* data, Micros now) {
    groups_.Keep(group);
    s_addnode* waiting = groups_.Waiting();
    const bool address_is_free =
        settings_.trusting || groups_.Holder(GetLe32(data + kAtNextAddress)) == nullptr;
    session_.Dispatch(kPfGroupEndReply, data);
    if (waiting != nullptr && !address_is_free) waiting->addrstate = kAddressMissing;
    refusals_ = attempts_ = 0;
    verdict_repeated_ = false;
    patience_.Confirmed(now);
}

/// The verdict on the image. False when the device is asked once more: it may have misheard the image's size
/// or its checksum, and has all groups.
bool Course::TakeCheck(const unsigned char* data) {
    if (data[kAtStatus] != kAccepted && !settings_.trusting && !checked_again_) {
        checked_again_ = true;
        watcher_.OnNote("the device refused the image; it is asked once more, from the start download on");
        GoBack(kStepStartDownload);
        return false;
    }
    session_.Dispatch(kPfProgramCheckReply, data);
    image_confirmed_ = session_.m_checkack == kAccepted && groups_.Next() == nullptr;
    return true;
}

void Course::StartAnew() {
    ++restarts_;
    watcher_.OnNote("the device has forgotten what it had taken: all groups go out again");
    groups_.StartAnew();
    confirmed_at_start_ = refusals_ = attempts_ = 0;
    verdict_repeated_ = false;
}

void Course::Ignore(const can_frame& frame, const char* reason) {
    ++ignored_.count;
    ignored_.reason = reason;
    ignored_.last = frame;
}

void Course::TellIgnored(Micros now) {
    if (ignored_.count == ignored_told_) return;
    ignored_told_ = ignored_.count;
    ignored_told_at_ = now;
    watcher_.OnIgnored(ignored_);
}

void Course::TellLink() {
    if (linked_) return;
    linked_ = true;
    watcher_.OnLink();
}

// Frames out.

void Course::Advance(Micros now) {
    for (;;) {
        const auto step = static_cast<Step>(session_.m_runstep);
        switch (step) {
            case kStepIdle:
            case kStepClosing:
            case kStepData:
                return;
            case kStepLinkWait:
                if (!session_.IsLinked()) return;
                break;
            case kStepBegin:
                break;
            case kStepStartGroup:
                if (session_.m_waittime != 0) return;
                if (!PrepareStart()) continue;
                if (groups_.Next() != nullptr && refusals_ < kMaxGroupStarts) {
                    if (data_since_ < 0) data_since_ = now;
                    Ask(step, now);
                }
                break;
            case kStepStartDownload:
            case kStepRequestAddress:
            case kStepGroupEnd:
            case kStepProgramCheck:
            case kStepReset:
                if (session_.m_waittime != 0) return;
                Ask(step, now);
                break;
        }
        session_.RunStep();
        if (session_.m_finished == 1) return;
    }
}

/// False when the next group has no address yet: it is asked for first. The session counts every start,
/// resends too; here only refusals count.
bool Course::PrepareStart() {
    s_addnode* next = groups_.Next();
    if (next == nullptr) return true;
    next->sendcount = refusals_;
    if (next->addrstate == kAddressGiven) return true;
    GoBack(kStepRequestAddress);
    return false;
}

void Course::Ask(Step step, Micros now) {
    patience_.Asked(now);
    if (unanswered_since_ < 0) unanswered_since_ = now;
    if (asked_ == step) watcher_.OnRetry(QuestionOf(step), ++retries_);
    asked_ = step;
}

void Course::Pass(Micros now) {
    ++session_.m_loopcount;
    pace_.NextPass();
    // A command that waits for room in the transmit queue is not asked again behind itself.
    if (session_.m_waittime != 0 && session_.m_mailbox.empty()) session_.m_waittime -= kPassMs;
    SuperviseLink(now);
    Climb(now);
    if (session_.m_loopcount % kHeartbeatPasses == 0) {
        session_.m_mailbox.push_back(session_.Build28672());
        if (session_.m_runstep == kStepLinkWait) patience_.Asked(now);
    }
    if (now - ignored_told_at_ >= kSecond) TellIgnored(now);
}

void Course::SuperviseLink(Micros now) {
    if (session_.m_heartmiss <= kMissedLimit || IsOver()) return;
    session_.SuperviseLink();
    session_.m_waittime = 0;
    linked_ = false;
    asked_.reset();
    unanswered_since_ = -1;
    patience_.Asked(now);
}

/// Sending a question again may not be enough: the device may have lost its place. Each step leads one
/// further back, to the start of the download in the end; only a reset is never taken back.
void Course::Climb(Micros now) {
    if (unanswered_since_ < 0) return;
    const Micros waited = now - unanswered_since_;
    switch (static_cast<Step>(session_.m_runstep)) {
        case kStepRequestAddress:
            if (waited > 5 * kSecond) GoBack(kStepStartDownload);
            break;
        case kStepIdle:
            if (under_way_ && waited > 2 * kSecond) {
                GoBack(kStepStartGroup);
            } else if (waited > 30 * kSecond) {
                WithdrawAddress();
                GoBack(kStepRequestAddress);
            }
            break;
        case kStepStartGroup:
            if (waited <= 2 * kSecond) break;
            WithdrawAddress();
            GoBack(kStepRequestAddress);
            break;
        case kStepGroupEnd:
            if (waited > 8 * kSecond) GoBack(kStepStartGroup);
            break;
        case kStepProgramCheck:
            if (waited > 20 * kSecond) GoBack(kStepStartDownload);
            break;
        case kStepStartDownload:
        case kStepReset:
        case kStepLinkWait:
        case kStepBegin:
        case kStepData:
        case kStepClosing:
            break;
    }
}

void Course::GoBack(Step step) {
    session_.EnterStep(step);
    asked_.reset();
    unanswered_since_ = -1;
}

/// The device may not know the address that we took for the group's.
void Course::WithdrawAddress() {
    if (s_addnode* next = groups_.Next()) next->addrstate = kAddressMissing;
}

std::string Course::Lost(Micros now) const {
    if (restarts_ > kMostRestarts) return "the device forgets again and again what it has taken";
    const auto step = static_cast<Step>(session_.m_runstep);
    const std::string lost = patience_.Lost(now, step);
    const bool told = heard_ || step == kStepLinkWait;  // there a heartbeat is all that was asked
    return lost.empty() || told ? lost : lost + ", nor to a heartbeat";
}

void Course::Report(RunReport* report) const {
    report->result = session_.m_errorcode;
    report->image_confirmed = image_confirmed_;
    report->reset_confirmed = reset_confirmed_;
    report->device_status = status_;
    report->groups = groups_.Confirmed();
    report->retries = retries_;
    report->ignored = ignored_.count;
}

}  // namespace velmorin
