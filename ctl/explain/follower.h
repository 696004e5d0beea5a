// Follows one update from outside, by its frames alone: it mirrors what the updater's session does on each
// reply, and takes from the commands whatever the replies leave open.
#pragma once

#include "update.h"

namespace velmorin {

class Follower {
  public:
    Follower(std::string interface, std::uint8_t charge, Micros at);

    /// A frame of the updater to this device. Times never decrease from call to call.
    void Command(const can_frame& frame, Micros at);
    /// A frame whose PF makes it a reply; `stranger`: it is not from this device, or not to the updater. The
    /// updater takes either.
    void Reply(const can_frame& frame, Micros at, bool stranger);
    void BusError(const can_frame& frame, Micros at);

    /// True when this heartbeat is the first of another run of the updater.
    bool StartsAnew(const can_frame& heartbeat, Micros at) const;
    /// True once a command was seen.
    bool HasCommands() const { return update_.commands > 0; }

    /// No more frames. `end`: as far as the log's time is known. `ran`: the updater surely ran until then;
    /// otherwise its silence is an end of its own, and a third start that is its last frame counts as
    /// unanswered. `replaced`: the updater was started again.
    Update Finish(Micros end, bool ran, bool replaced);

  private:
    static constexpr std::size_t kUnknown = static_cast<std::size_t>(-1);
    struct End {
        int code;
        Micros at;
        int status;
        bool forged;  ///< by a reset reply that no reset had asked for
    };

    // follower.cpp: time, the end, exchanges
    void Advance(Micros at);
    void LoseLink();
    void CountPasses(Micros time);
    bool LinkHeldSince(Micros from, Micros to) const;
    void Spend(Micros at);
    void EndWith(int code, Micros at, int status, bool forged = false);
    void NoteCommandAfterEnd(bool is_heartbeat, Micros at);
    void Sent(ExchangeKind kind, Micros at, bool again);
    void Answered(ExchangeKind kind, Micros at);
    void CloseExchange(ExchangeKind kind);
    bool IsUnanswered(ExchangeKind kind, std::uint8_t pf) const;
    void Judge(Micros end, bool ran, bool replaced);
    void Shorten();

    // followreplies.cpp: what the session does on a reply
    void Dispatch(std::uint8_t pf, const std::uint8_t* data, Micros at, bool stranger);
    void CountReply(std::uint8_t pf, Micros at);
    void StartReply(const std::uint8_t* data, Micros at);
    void Verdict(const std::uint8_t* data, Micros at);
    bool ConfirmCurrent(Micros at);
    void GiveAddress(std::uint32_t address, Micros at);
    void EnterStartGroup(Micros at);
    void StartDue(Micros at);

    // followcommands.cpp: what the commands tell
    void StartsOver();
    void Heartbeat(const std::uint8_t* data, Micros at);
    void GroupStart(std::uint32_t address, Micros at);
    std::size_t GroupOfStart(std::uint32_t address, bool* owed);
    void Data(std::uint8_t index, Micros at);
    void GroupEnd(Micros at);
    void TakeBackEarlyVerdict();
    void Enter(Step step, Micros at);
    void ForgetOwedStarts();

    GroupFacts& Group(std::size_t index);
    std::size_t FirstUnconfirmed();
    bool IsInData() const { return step_ == kStepStartGroup || step_ == kStepData || step_ == kStepGroupEnd; }
    int StartsOf(std::size_t index) { return Group(index).starts + Group(index).owed; }

    Update update_;
    Step step_ = kStepLinkWait;
    Micros now_ = 0;
    bool over_ = false;
    End end_{};
    bool closing_read_ = false;  // the one frame that is read in the closing pass was read
    int commands_after_end_ = 0;
    std::optional<End> passed_over_;  // an end after which the updater went on for a while
    Micros last_command_ = 0;
    std::uint8_t last_pf_ = 0;  // of the last command but heartbeats

    unsigned int heart_last_ = 0;
    unsigned int heart_miss_ = 0;
    bool any_heartbeat_ = false;
    Micros heart_at_ = 0;
    Micros least_latency_ = 0;          // shortest time from a heartbeat to its reply
    unsigned int hidden_answered_ = 0;  // heartbeats since the last one in the log that a reply answered
    bool left_idle_ = false;            // by a link loss that is not in the log
    Micros passes_ = 0;  // since the last heartbeat in the log, in time that they take outside the idle step
    Micros replied_at_ = 0;  // the last reply that changed the step

    Micros start_due_ = 0;                  // in kStepStartGroup: when the next start is due
    std::uint32_t group_address_ = 0;       // of the group that was started last
    std::size_t unconfirmed_ = 0;           // no group before it is unconfirmed
    std::size_t groups_in_all_ = kUnknown;  // known once a program check was sent
    std::size_t waiting_ = 0;               // the next group to be given an address
    std::size_t working_ = 0;               // the group whose start was last in the log
    int next_packet_ = 0;
    bool group_ended_ = false;   // its group end was seen
    std::ptrdiff_t early_ = -1;  // the group that was confirmed last, if before its group end
};

}  // namespace velmorin
