// The course of a watched job: which replies count, what they lead to, and the ways back when one is missing.
// It keeps no clock and touches no bus: frames come in through Take and go out through the session's mailbox
// and packets.
#pragma once

#include <optional>

#include "canframe.h"
#include "groups.h"
#include "guard.h"
#include "pace.h"
#include "patience.h"
#include "watchedrun.h"

namespace velmorin {

class Course {
  public:
    Course(canframe& session, const RunSettings& settings, Watcher& watcher, Micros now);

    /// A frame has arrived.
    void Take(const can_frame& frame, Micros now);
    /// One pass of 10 ms: heartbeats, resends, the link, and the way back when an answer stays away.
    void Pass(Micros now);
    /// Queues what is due at once.
    void Advance(Micros now);
    /// All packets of the group are out.
    void EndGroup() { session_.EnterStep(kStepGroupEnd); }
    /// Tells of ignored frames that were not told yet.
    void TellIgnored(Micros now);

    /// The device has decided, or there is nothing left to try.
    bool IsOver() const { return session_.m_finished == 1 || session_.m_runstep == kStepClosing; }
    /// What the device has failed to do for too long; empty while there is patience.
    std::string Lost(Micros now) const;
    /// Fills in what the course knows of the report.
    void Report(RunReport* report) const;

    Pace& pace() { return pace_; }
    const Groups& groups() const { return groups_; }
    int retries() const { return retries_; }
    /// When the first group start was queued; negative before that.
    Micros data_since() const { return data_since_; }
    Micros last_verdict() const { return last_verdict_; }

  private:
    bool Act(std::uint8_t pf, const can_frame& frame, const unsigned char* data, Micros now);
    bool IsDoubtful(const unsigned char* data);
    void TakeHeartbeat(const unsigned char* data);
    bool TakeAddress(const can_frame& frame, const unsigned char* data);
    bool TakeVerdict(const can_frame& frame, const unsigned char* data, Micros now);
    bool TakeCheck(const unsigned char* data);
    void Confirm(s_addnode* group, const unsigned char* data, Micros now);
    void StartAnew();
    void Ignore(const can_frame& frame, const char* reason);
    void TellLink();

    bool PrepareStart();
    void Ask(Step step, Micros now);
    void SuperviseLink(Micros now);
    void Climb(Micros now);
    void GoBack(Step step);
    void WithdrawAddress();

    canframe& session_;
    const RunSettings& settings_;
    Watcher& watcher_;
    Guard guard_;
    Groups groups_;
    Pace pace_;
    Patience patience_;

    bool heard_ = false;             // a frame of the device has counted
    bool linked_ = false;            // told that the device answers
    bool under_way_ = false;         // a go-ahead came after the last start download
    int confirmed_at_start_ = 0;     // groups, when the device last accepted a download
    int refusals_ = 0;               // of the current group, that count
    int attempts_ = 0;               // of the current group, that came to a verdict
    bool verdict_repeated_ = false;  // the current group's verdict named an address that a group has
    bool start_doubted_ = false;     // a start reply that fits in part has come
    bool checked_again_ = false;     // the device has refused the image once
    int restarts_ = 0;               // how often the device forgot what it had taken
    std::optional<Step> asked_;      // the step whose question is out
    Micros unanswered_since_ = -1;   // in this step
    int retries_ = 0;
    bool image_confirmed_ = false;
    bool reset_confirmed_ = false;
    std::optional<std::uint8_t> status_;  // of the last reply that carries one
    Micros data_since_ = -1;
    Micros last_verdict_ = -1;

    Ignored ignored_{};
    int ignored_told_ = 0;
    Micros ignored_told_at_;
};

}  // namespace velmorin
