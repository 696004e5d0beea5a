// The simulated device: frames in, frames out with the time at which they leave. No input or output and no
// clock of its own, so a test drives it through a whole job in no time.
#pragma once

#include <linux/can.h>

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "image.h"
#include "protocol.h"
#include "responder.h"

namespace sim {

/// Group number `index` of the image (from 0) is refused the first `times` times its end arrives.
struct GroupFault {
    std::size_t index;
    int times;
};

/// What goes wrong. Faults that count (groups, heartbeats) count anew with every job.
struct Faults {
    bool silent = false;                    ///< sends nothing, ever
    int mute_heartbeats = 0;                ///< sends nothing while this many heartbeats pass, see Device
    std::uint8_t refuse_start = kAccepted;  ///< status of the start download reply
    std::uint8_t fail_check = kAccepted;    ///< status of the program check reply, when not accepted
    std::vector<GroupFault> reject_groups = {};  ///< verdict "checksum wrong"
    std::vector<GroupFault> erase_fails = {};    ///< verdict "erase failed", before rejections
    double drop_percent = 0;                     ///< share of frames lost in each direction
    int take = 0;                                ///< data frames taken in any 10 ms, the others lost; 0: all
    Micros delay = 0;                            ///< added to every reply
    bool no_reset_reply = false;                 ///< resets, but does not say so
};

struct Settings {
    std::uint8_t address = 0xE0;      ///< CAN address
    Plan plan = Plan::kB;             ///< the checksum it asks for
    std::uint32_t base = 0x08004000;  ///< first group address it announces; the next is one group size up
    std::uint32_t seed = 1;           ///< which frames are dropped
    Faults faults = {};
};

/// Where the current job stands. A job begins with a start download.
enum class Job {
    kNone,         ///< none was started
    kRunning,      ///< accepted
    kVerified,     ///< the program check passed
    kComplete,     ///< and the device was reset
    kRefused,      ///< the start was refused
    kCheckFailed,  ///< the program check failed
    kAborted,      ///< the updater left, started over, or reset the device before its image was checked
};

/// True when nothing more is expected of the job.
bool IsOver(Job job);

struct Counters {
    int heard = 0;         ///< frames for this device that it did take
    int sent = 0;          ///< frames that left
    int lost = 0;          ///< frames dropped by a fault, both directions
    int rejected = 0;      ///< groups answered "checksum wrong", by fault or by right
    int erase_failed = 0;  ///< groups answered "erase failed"
    int violations = 0;    ///< what no loss on the bus explains: each has its note
};

/// One device at one address. It takes the updater's word for nothing: a group counts only when its packets
/// came complete and in order and the group's checksum fits, the job only when the image's does.
///
/// What it does beyond answering frame by frame, and why:
/// - Every address reply and every right verdict announces a fresh address, because the updater gives each
///   one that it hears to the next group that has none. A start at an address never announced means that the
///   address reply was lost: it is answered with a new one and a new go-ahead.
/// - A group end is answered once; the updater would take a second verdict for the next group's. Only when
///   group ends still come two seconds after the verdict left, the verdict was lost, and goes out again.
/// - A heartbeat after two seconds with nothing else means that the updater waits for a lost go-ahead, which
///   it never asks for: the go-ahead goes out again.
/// - A start download in mid-transfer continues it; groups already confirmed stay. A new updater is told by
///   heartbeats that count from the start again, or by other address bytes: the transfer starts afresh.
/// - `mute_heartbeats` begins with the first heartbeat after a job's first data packet and ends with the
///   first heartbeat after those many, which is answered. Meanwhile the device still listens.
class Device : public Responder {
  public:
    explicit Device(Settings settings);

    /// False for everything but whole extended data frames from the updater to this device.
    bool Receive(const can_frame& frame, Micros now) override;
    std::optional<Micros> NextDue() const override;
    std::optional<can_frame> TakeDue(Micros now) override;

    /// A job that is not over is aborted, and the next start download begins a new job.
    void UpdaterGone() override;

    Job job() const { return job_; }
    const Counters& counters() const { return counters_; }
    bool HasBegun() const override { return job_ != Job::kNone; }
    bool IsOver() const override { return sim::IsOver(job_); }

    /// Complete, and no violation.
    bool IsRight() const override { return job_ == Job::kComplete && counters_.violations == 0; }
    std::string Summary() const override;

    /// True once after every program check, whatever its verdict.
    bool TakeChecked() override;

    /// The image: cut to its size after a program check whose checksum fits, else the groups confirmed so
    /// far.
    std::span<const std::uint8_t> image() const override { return image_.bytes().first(image_size_); }

    /// Groups confirmed in this job.
    std::size_t groups() const { return image_.groups(); }

    /// The checksum in the last program check.
    std::optional<std::uint32_t> checksum() const { return checksum_; }

    std::vector<std::string> TakeNotes() override;

  private:
    using Payload = std::array<std::uint8_t, kFrameLength>;

    struct Pending {
        Micros due;
        can_frame frame;
    };

    /// The group between its start and its end.
    struct OpenGroup {
        std::uint32_t address;
        int next_packet = 0;
        bool in_order = true;
        std::size_t size = 0;  ///< bytes so far; no whole number of packets after a short one
        std::array<std::uint8_t, kGroupSize> data{};
    };

    void Dispatch(std::uint8_t pf, const std::uint8_t* data, int length);
    void OnVersionCheck(const std::uint8_t* data);
    void OnHeartbeat(const std::uint8_t* data);
    void OnStartDownload(const std::uint8_t* data);
    void OnAddressRequest(const std::uint8_t* data);
    void OnGroupStart(const std::uint8_t* data);
    void OnData(const std::uint8_t* data, int carried);
    void OnGroupEnd(const std::uint8_t* data);
    void OnProgramCheck(const std::uint8_t* data);
    void OnReset(const std::uint8_t* data);

    void BeginJob(const std::uint8_t* data);
    void NoticeNewUpdater(std::uint16_t sequence);
    void ServeMute();
    bool BelongsToJob(std::uint8_t pf, const std::uint8_t* data);
    std::uint8_t Judge(const OpenGroup& group, std::uint32_t checksum);
    /// None for bytes that the plan's checksum is not defined for.
    std::optional<std::uint32_t> ChecksumOf(std::span<const std::uint8_t> data) const;
    bool Fails(std::vector<GroupFault>& faults, std::size_t index);
    bool IsAnnounced(std::uint32_t address) const;
    std::uint32_t AnnounceAddress();
    void SendAddressAndGoAhead();
    Payload GoAhead() const;

    /// Queues a reply that leaves `later` after the usual delay, unless a fault swallows it. A command that
    /// was repeated while its reply waits gets that one reply only. When it leaves.
    Micros Reply(std::uint8_t pf, const Payload& payload, Micros later = 0);
    bool IsWaiting(std::uint8_t pf) const;
    bool IsLost();
    bool OverrunsBuffer();
    void Note(std::string text);
    void Violation(std::string text);

    const Settings settings_;
    Faults left_;  ///< the faults that this job has still to meet
    std::mt19937 random_;

    Micros now_ = 0;
    std::deque<Micros> taken_;     ///< when the last data frames came, as far as `take` asks
    std::deque<Pending> pending_;  ///< by due time
    Counters counters_;
    std::vector<std::string> notes_;
    std::string last_note_;
    std::uint8_t last_pf_ = 0;

    Job job_ = Job::kNone;
    std::array<std::uint8_t, 3> address_bytes_{};  ///< those of the job's start download
    std::optional<std::uint16_t> heartbeat_;       ///< last sequence number
    bool new_updater_ = false;                     ///< the next start download is another's
    bool data_seen_ = false;
    bool muted_ = false;
    Micros busy_until_ =
        0;  ///< last sign of work: a command heard or a reply other than a heartbeat's leaving

    std::uint32_t announced_ = 0;  ///< how many addresses
    std::uint32_t exact_size_ = 0;
    std::optional<OpenGroup> group_;
    std::optional<Micros> verdict_left_;  ///< when the last verdict did, until the next group start
    std::uint8_t verdict_ = kGroupWrong;
    std::uint32_t verdict_address_ = 0;

    Image image_;
    std::size_t image_size_ = 0;
    std::optional<std::uint32_t> checksum_;
    bool checked_ = false;
};

}  // namespace sim
