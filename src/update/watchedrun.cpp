#include "watchedrun.h"

#include <linux/can/error.h>

#include <algorithm>
#include <cstdint>

#include "bus.h"
#include "course.h"
#include "process.h"

namespace velmorin {
namespace {

constexpr Micros kPass = Micros{kPassMs} * 1000;
constexpr Micros kRetryBusy = 500;          // a full queue is tried again within a millisecond
constexpr Micros kBusOffLimit = 3'000'000;  // a controller that comes back by itself does so sooner
constexpr Micros kMostBehind = 20 * kPass;  // passes that a stopped process catches up on
constexpr int kFramesATurn = 64;            // before looking at the clock again
constexpr unsigned int kProgressPasses = 50;

class Run {
  public:
    Run(canframe& session, const RunSettings& settings, Watcher& watcher, Waiting& waiting)
        : session_(session),
          watcher_(watcher),
          waiting_(waiting),
          started_(waiting.Now()),
          now_(started_),
          next_pass_(started_),
          patience_(settings.patience_s, started_),
          course_(session, settings, watcher, started_) {
        if (!settings.trusting) HearUpdateOnly(session.m_canhandle);
    }

    RunReport Go() {
        while (!IsOver()) {
            Receive();
            RunPasses();
            Advance();
            if (IsOver()) break;
            waiting_.Wait(session_.m_canhandle->fd, full_, std::min(next_pass_, retry_at_));
            now_ = waiting_.Now();
        }
        course_.TellIgnored(now_);
        return Report();
    }

  private:
    bool IsOver();
    void End(RunEnd end, int result, const std::string& why);
    void Receive();
    void TakeFault(const can_frame& frame);
    void RunPasses();
    void CheckPatience();
    void TellProgress();
    void Advance();
    void Send();
    bool Write(const can_frame& frame);
    void NoteRefusal();
    int BytesOf(int groups) const { return std::min(groups * kGroupSize, session_.m_filesize); }
    RunReport Report() const;

    canframe& session_;
    Watcher& watcher_;
    Waiting& waiting_;
    const Micros started_;
    Micros now_;
    Micros next_pass_;
    Patience patience_;
    Course course_;
    RunReport end_;
    bool ended_ = false;

    bool full_ = false;           // the socket's buffer is full: wait until it is not
    Micros retry_at_ = kForever;  // the interface's queue is full: nothing tells when it is not
    bool refused_ = false;        // the frame at hand has been refused
    int queue_waits_ = 0;
    Micros down_since_ = -1;
    Micros off_since_ = -1;
    bool unacknowledged_ = false;

    static constexpr Micros kForever = INT64_MAX;
};

bool Run::IsOver() {
    if (!ended_ && CaughtSignal() != 0) End(RunEnd::kSignal, kResultInterrupted, "");
    return ended_ || course_.IsOver();
}

void Run::End(RunEnd end, int result, const std::string& why) {
    ended_ = true;
    end_.end = end;
    end_.result = result;
    end_.why = why;
}

void Run::Receive() {
    can_frame frame{};
    for (int i = 0; i < kFramesATurn && !course_.IsOver(); ++i) {
        switch (ReadFrame(session_.m_canhandle, &frame)) {
            case BusState::kDone:
                if ((frame.can_id & CAN_ERR_FLAG) != 0) {
                    TakeFault(frame);
                    break;
                }
                off_since_ = -1;
                watcher_.OnFrame(frame);
                course_.Take(frame, now_);
                if (PfOf(frame.can_id) == kPfGroupEndReply) TellProgress();
                break;
            case BusState::kDown:
                if (down_since_ < 0) down_since_ = now_;
                return;
            case BusState::kGone:
                return End(RunEnd::kBusLost, kResultBusLost, "the bus is gone");
            case BusState::kEmpty:
            case BusState::kFull:
            case BusState::kBusy:
                return;
        }
    }
}

/// What the controller tells of itself; see linux/can/error.h.
void Run::TakeFault(const can_frame& frame) {
    if ((frame.can_id & CAN_ERR_ACK) != 0) unacknowledged_ = true;
    if ((frame.can_id & CAN_ERR_BUSOFF) != 0 && off_since_ < 0) off_since_ = now_;
    if ((frame.can_id & CAN_ERR_RESTARTED) != 0) off_since_ = -1;
}

void Run::RunPasses() {
    if (now_ - next_pass_ > kMostBehind) next_pass_ = now_;
    for (; next_pass_ <= now_ && !course_.IsOver(); next_pass_ += kPass) {
        course_.Pass(now_);
        retry_at_ = kForever;
        if (session_.m_loopcount % kProgressPasses == 0) TellProgress();
    }
    CheckPatience();
}

void Run::CheckPatience() {
    if (ended_ || course_.IsOver()) return;
    if (off_since_ >= 0 && now_ - off_since_ > kBusOffLimit)
        return End(RunEnd::kBusLost, kResultBusLost, "the controller is bus-off");
    if (down_since_ >= 0 && patience_.IsBusLost(now_, down_since_))
        return End(RunEnd::kBusLost, kResultBusLost, "the interface is down");
    const std::string lost = course_.Lost(now_);
    if (lost.empty()) return;
    if (down_since_ >= 0) return End(RunEnd::kBusLost, kResultBusLost, "the interface is down");
    End(RunEnd::kSilent, kResultSilent, unacknowledged_ ? lost + "; nobody acknowledges a frame" : lost);
}

void Run::TellProgress() {
    if (course_.data_since() < 0) return;
    Progress progress{};
    progress.groups = course_.groups().Confirmed();
    progress.groups_of = course_.groups().Count();
    progress.bytes = BytesOf(progress.groups);
    progress.of = session_.m_filesize;
    progress.retries = course_.retries();
    const double seconds = static_cast<double>(now_ - course_.data_since()) / 1e6;
    const int on_their_way = session_.m_runstep == kStepData ? session_.m_packid * kPacketSize : 0;
    const int sent = std::min(progress.bytes + on_their_way, progress.of);
    progress.rate = seconds > 0 ? sent / seconds : 0;
    progress.eta_s = progress.rate > 0 ? (progress.of - sent) / progress.rate : -1;
    watcher_.OnProgress(progress);
}

/// Everything that is due and that the bus takes.
void Run::Advance() {
    while (!ended_ && !course_.IsOver()) {
        course_.Advance(now_);
        if (course_.IsOver()) return;
        full_ = false;
        Send();
        const bool group_is_out = session_.m_runstep == kStepData && session_.NextPacket() == nullptr;
        if (!group_is_out || !session_.m_mailbox.empty()) return;
        course_.EndGroup();
    }
}

void Run::Send() {
    if (retry_at_ != kForever && now_ < retry_at_) return;
    retry_at_ = kForever;
    while (!session_.m_mailbox.empty()) {
        if (!Write(session_.FrameOf(session_.m_mailbox.front()))) return;
        session_.m_mailbox.pop_front();
    }
    while (session_.m_runstep == kStepData && course_.pace().Allows()) {
        const can_frame* packet = session_.NextPacket();
        if (packet == nullptr || !Write(*packet)) return;
        ++session_.m_packid;
        course_.pace().Sent();
    }
}

/// False when the frame was not taken: it is offered again.
bool Run::Write(const can_frame& frame) {
    switch (WriteFrame(session_.m_canhandle, frame)) {
        case BusState::kDone:
            refused_ = false;
            down_since_ = -1;
            watcher_.OnFrame(frame);
            return true;
        case BusState::kFull:
        case BusState::kEmpty:
            full_ = true;
            NoteRefusal();
            break;
        case BusState::kBusy:
            retry_at_ = now_ + kRetryBusy;
            NoteRefusal();
            break;
        case BusState::kDown:
            if (down_since_ < 0) down_since_ = now_;
            session_.m_mailbox.clear();  // commands are asked again, packets wait
            retry_at_ = next_pass_;
            break;
        case BusState::kGone:
            End(RunEnd::kBusLost, kResultBusLost, "the bus is gone");
            break;
    }
    return false;
}

void Run::NoteRefusal() {
    if (!refused_) ++queue_waits_;
    refused_ = true;
}

RunReport Run::Report() const {
    RunReport report;
    course_.Report(&report);
    if (ended_) {
        report.end = end_.end;
        report.result = end_.result;
        report.why = end_.why;
    }
    report.bytes = BytesOf(report.groups);
    report.queue_waits = queue_waits_;
    report.duration_s = static_cast<double>(now_ - started_) / 1e6;
    const double seconds = static_cast<double>(course_.last_verdict() - course_.data_since()) / 1e6;
    if (course_.data_since() >= 0 && seconds > 0) report.rate = report.bytes / seconds;
    return report;
}

}  // namespace

RunReport RunWatched(canframe& session, const RunSettings& settings, Watcher& watcher, Waiting& waiting) {
    return Run(session, settings, watcher, waiting).Go();
}

}  // namespace velmorin
