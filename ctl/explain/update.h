// What a log shows of one update. Plain values; times are the log's in microseconds, made to run forward.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "candump.h"
#include "protocol.h"

namespace velmorin {

enum Phase { kPhaseLink, kPhaseStart, kPhaseErase, kPhaseData, kPhaseCheck, kPhaseReset };
constexpr int kPhases = 6;
constexpr const char* kPhaseNames[kPhases] = {"link", "start", "erase", "data", "check", "reset"};

/// Something at one moment, for the timeline.
struct Mark {
    enum Kind : std::uint8_t { kResend, kLost, kRefused, kLinkLost, kEnd };
    Micros at;
    std::int32_t group;  ///< -1: none
    Kind kind;
};

/// A stretch of one phase.
struct Stretch {
    Micros from;
    Micros to;
    Phase phase;
};

/// One group, in the order in which the groups are sent.
struct GroupFacts {
    Micros first = 0;  ///< its first start
    Micros last = 0;   ///< the last frame that belongs to it
    std::uint32_t address = 0;
    std::uint16_t starts = 0;   ///< group starts in the log
    std::uint16_t missing = 0;  ///< packets of its last attempt that are not in the log
    std::uint8_t owed = 0;      ///< starts that were due and are not in the log (yet)
    std::uint8_t refused = 0;   ///< verdicts "wrong checksum"
    std::uint8_t unerased = 0;  ///< verdicts "erase failed"
    bool addressed = false;     ///< the device named the address
    bool confirmed = false;
};

/// A finding: how often, when first, and at which group (-1: none).
struct Finding {
    std::uint32_t count = 0;
    Micros first = 0;
    std::int32_t group = -1;

    void Note(Micros at, std::int32_t where = -1, std::uint32_t more = 1) {
        if (count == 0) first = at, group = where;
        count += more;
    }
};

/// One kind of command and how its replies came.
struct Exchange {
    std::uint32_t sends = 0;       ///< of the exchange that runs
    std::uint32_t replies = 0;     ///< to it
    Micros last = 0;               ///< its last send
    bool late = false;             ///< the reply was one to an earlier send than the last
    std::int32_t group = -1;       ///< that it is about; -1: none
    Micros since = 0;              ///< its first send, and
    Micros answered = 0;           ///< first reply
    std::uint32_t most_sends = 0;  ///< most commands that one reply took, or that got none
    Micros most_since = 0;
    std::int32_t most_group = -1;
};

enum ExchangeKind {
    kStartExchange,
    kAddressExchange,
    kGroupStartExchange,
    kGroupEndExchange,
    kCheckExchange,
    kResetExchange
};
constexpr int kExchanges = 6;

struct Update {
    std::string interface;
    std::uint8_t charge = 0;
    Micros started = 0;
    Micros ended = 0;
    std::uint32_t commands = 0;    ///< frames of the updater
    std::uint32_t replies = 0;     ///< frames of the device
    std::uint32_t size_asked = 0;  ///< image size in an address request; 0 when it says none
    int plan = -1;                 ///< checksum plan that the device named; -1: none yet
    std::optional<int> result;     ///< what velmorin would have recorded
    bool fell_silent = false;      ///< the log goes on without the updater
    bool two_updaters = false;     ///< heartbeats of two sequences at once
    Step step = kStepLinkWait;     ///< where it ended
    std::vector<GroupFacts> groups;
    std::array<Micros, kPhases> phases{};
    std::vector<Stretch> course;  ///< the phases in order, at most kMaxMarks
    std::vector<Mark> marks;      ///< at most kMaxMarks
    Exchange exchanges[kExchanges];
    Micros data_from = 0;   ///< first group start, and
    Micros data_to = 0;     ///< last verdict "right"; 0: none
    Micros idle_since = 0;  ///< an address has come and no go-ahead yet; 0: no such wait
    std::uint32_t heartbeats = 0;
    std::uint32_t heartbeat_replies = 0;
    std::uint32_t resends = 0;
    std::uint32_t lost = 0;
    std::uint32_t doubled = 0;
    Micros late = 0;  ///< the longest that a reply took which came after its command's resend
    bool reset_sent = false;
    bool forged_end = false;  ///< the reset reply that ended it was not asked for
    int device_status = -1;   ///< status byte of the reply that ended it
    Finding strangers, forged_resets, link_losses, missing_packets, refusals, erase_failures, early_verdicts,
        restarts, dropouts, no_go_aheads, bus_errors, unacknowledged, bus_off;

    static constexpr std::size_t kMaxMarks = 2000;
    void AddMark(Micros at, Mark::Kind kind, std::int32_t group = -1) {
        if (marks.size() < kMaxMarks) marks.push_back({at, group, kind});
    }
};

/// What the log is, apart from its updates.
struct LogFacts {
    std::uint64_t frames = 0;
    std::uint64_t bad_lines = 0;
    std::uint64_t foreign_lines = 0;  ///< CAN FD and the like; counted among the bad lines, too
    std::uint64_t error_frames = 0;
    std::uint64_t backwards = 0;  ///< times that the log's clock went back
    std::uint64_t updates_left_out = 0;
    Micros first = 0;
    Micros last = 0;
    std::optional<int> bitrate;  ///< null: the log does not tell
    double busy = 0;             ///< share of the log's time, at that bit rate or the protocol's
    std::string trouble;         ///< why reading ended early, or empty
};

}  // namespace velmorin
