#include "device.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "checksum.h"
#include "wire.h"

namespace sim {
namespace {

constexpr std::uint8_t kPlanB = 0;           // any value but plan A's
constexpr std::uint8_t kEraseFailed = 0x66;  // any value that is neither right nor wrong
constexpr std::uint8_t kImageWrong = 0x01;   // any value but accepted

// Two passes of the updater between the address and the go-ahead: erasing takes a while.
constexpr Micros kGoAheadPause = 20'000;

// Four resends of the updater. When it asks that long after our reply, the reply was lost.
constexpr Micros kQuietTime = 2'000'000;

constexpr Micros kTakeSpan = 10'000;  // in which a device takes so many data frames

/// A reply's payload with the command's address bytes, the rest zero.
std::array<std::uint8_t, kFrameLength> Mirror(const std::uint8_t* data) {
    return {data[kAtPort], data[kAtDeviceType], data[kAtUpdateAddress]};
}

std::uint8_t PriorityOf(std::uint8_t pf) {
    return pf == kPfVersionCheck || pf == kPfVersionCheckReply ? kPriorityVersion : kPriorityUpdate;
}

canid_t Identifier(std::uint8_t pf, std::uint8_t destination, std::uint8_t source) {
    return CAN_EFF_FLAG | velmorin::Identifier(PriorityOf(pf), pf, destination, source);
}

const char* JobText(Job job) {
    switch (job) {
        case Job::kNone:
            return "no job";
        case Job::kRunning:
            return "job unfinished";
        case Job::kVerified:
            return "program check passed, not reset";
        case Job::kComplete:
            return "job complete";
        case Job::kRefused:
            return "start refused";
        case Job::kCheckFailed:
            return "program check failed";
        case Job::kAborted:
            return "job aborted";
    }
    return "";
}

std::string Hex(std::uint32_t value) {
    char text[9];
    std::snprintf(text, sizeof text, "%08x", value);
    return text;
}

}  // namespace

bool IsOver(Job job) {
    switch (job) {
        case Job::kNone:
        case Job::kRunning:
        case Job::kVerified:
            return false;
        case Job::kComplete:
        case Job::kRefused:
        case Job::kCheckFailed:
        case Job::kAborted:
            return true;
    }
    return true;
}

Device::Device(Settings settings)
    : settings_(std::move(settings)), left_(settings_.faults), random_(settings_.seed) {}

bool Device::Receive(const can_frame& frame, Micros now) {
    const std::uint8_t pf = PfOf(frame.can_id);
    if (frame.can_id != Identifier(pf, settings_.address, kUpdaterAddress)) return false;
    const int shortest = pf == kPfData ? kPacketHeader + 1 : kFrameLength;
    if (frame.can_dlc < shortest || frame.can_dlc > kFrameLength) return false;
    now_ = now;
    if (IsLost() || (pf == kPfData && OverrunsBuffer())) return true;
    ++counters_.heard;
    if (std::exchange(last_pf_, pf) != pf) last_note_.clear();
    Dispatch(pf, frame.data, frame.can_dlc);
    if (pf != kPfHeartbeat) busy_until_ = std::max(busy_until_, now_);
    return true;
}

void Device::Dispatch(std::uint8_t pf, const std::uint8_t* data, int length) {
    if (pf == kPfVersionCheck) return OnVersionCheck(data);
    if (pf == kPfHeartbeat) return OnHeartbeat(data);
    if (pf == kPfStartDownload) return OnStartDownload(data);
    if (!BelongsToJob(pf, data)) return;
    if (pf == kPfAddressRequest) return OnAddressRequest(data);
    if (pf == kPfGroupStart) return OnGroupStart(data);
    if (pf == kPfData) return OnData(data, length - kPacketHeader);
    if (pf == kPfGroupEnd) return OnGroupEnd(data);
    if (pf == kPfProgramCheck) return OnProgramCheck(data);
    if (pf == kPfReset) return OnReset(data);
}

std::optional<Micros> Device::NextDue() const {
    if (pending_.empty()) return std::nullopt;
    return pending_.front().due;
}

std::optional<can_frame> Device::TakeDue(Micros now) {
    if (pending_.empty() || pending_.front().due > now) return std::nullopt;
    const can_frame frame = pending_.front().frame;
    pending_.pop_front();
    ++counters_.sent;
    return frame;
}

void Device::UpdaterGone() {
    pending_.clear();
    group_.reset();
    new_updater_ = true;
    if (job_ == Job::kRunning || job_ == Job::kVerified) job_ = Job::kAborted;
}

bool Device::TakeChecked() {
    return std::exchange(checked_, false);
}

std::vector<std::string> Device::TakeNotes() {
    return std::exchange(notes_, {});
}

std::string Device::Summary() const {
    char text[240];
    std::snprintf(
        text, sizeof text,
        "%d frames heard, %d sent, %d lost; %zu groups, %d rejected, %d erase failed; image %zu bytes, ",
        counters_.heard, counters_.sent, counters_.lost, groups(), counters_.rejected, counters_.erase_failed,
        image().size());
    return text + (checksum_ ? "checksum " + Hex(*checksum_) : "no checksum") + "; " +
           std::to_string(counters_.violations) + " violations; " + JobText(job_);
}

// The commands, in the order of a job.

void Device::OnVersionCheck(const std::uint8_t* data) {
    if (data[kAtVersionCommand] != kVersionCommand || data[kAtVersionNumber] != kVersionNumber) return;
    Reply(kPfVersionCheckReply, {data[kAtPort], kVersionReplyCommand, kVersionReplyNumber});
}

void Device::OnHeartbeat(const std::uint8_t* data) {
    NoticeNewUpdater(GetLe16(data + kAtHeartbeatNumber));
    const bool in_job = job_ == Job::kRunning || job_ == Job::kVerified;
    if (in_job && !std::equal(data, data + kAtHeartbeatNumber, address_bytes_.begin()))
        Violation("heartbeat with other address bytes than the job's");
    ServeMute();
    Payload payload{data[kAtPort], data[kAtDeviceType]};
    PutLe16(&payload[kAtHeartbeatNumber], GetLe16(data + kAtHeartbeatNumber));
    Reply(kPfHeartbeatReply, payload);
    if (in_job && announced_ > 0 && now_ - busy_until_ >= kQuietTime) {
        Note("the updater waits: go-ahead sent again");
        Reply(kPfGoAhead, GoAhead());
    }
}

void Device::OnStartDownload(const std::uint8_t* data) {
    const bool same_bytes = std::equal(address_bytes_.begin(), address_bytes_.end(), data);
    const bool known = job_ != Job::kNone && job_ != Job::kAborted && !new_updater_;
    if (known && !IsOver() && !same_bytes)
        Violation("start download in mid-transfer with other address bytes");
    if (!known || !same_bytes) {
        BeginJob(data);
        announced_ = exact_size_ = 0;
    }
    group_.reset();
    new_updater_ = false;
    if (left_.refuse_start != kAccepted) job_ = Job::kRefused;

    Payload payload = Mirror(data);
    payload[kAtStatus] = left_.refuse_start;
    payload[kAtPlan] = settings_.plan == Plan::kA ? kPlanA : kPlanB;
    Reply(kPfStartDownloadReply, payload);
}

void Device::OnAddressRequest(const std::uint8_t* data) {
    exact_size_ = GetLe32(data + kAtImageSize);
    SendAddressAndGoAhead();
}

void Device::OnGroupStart(const std::uint8_t* data) {
    // The reset or the verdict was lost with the link when a finished job's updater starts over, so the
    // finished image is only given up when another one begins.
    if (IsOver()) BeginJob(data);
    const std::uint32_t address = GetLe32(data + kAtGroupAddress);
    if (!IsAnnounced(address)) {
        Note("group start at " + Hex(address) + ", which was never announced: address sent again");
        return SendAddressAndGoAhead();
    }
    job_ = Job::kRunning;
    group_ = OpenGroup{.address = address};
    verdict_left_.reset();
    Payload payload = Mirror(data);
    PutLe32(&payload[kAtGroupAddress], address);
    Reply(kPfGroupStartReply, payload);
}

void Device::OnData(const std::uint8_t* data, int carried) {
    data_seen_ = true;
    if (!group_) return Note("packet outside a group, ignored");
    const int index = data[kAtPacketIndex];
    if (index < group_->next_packet) {
        Violation("group at " + Hex(group_->address) + ": packet " + std::to_string(index) +
                  " after packet " + std::to_string(group_->next_packet - 1));
    }
    if (index != group_->next_packet || group_->size % kPacketSize != 0) group_->in_order = false;
    std::copy_n(data + kPacketHeader, carried, group_->data.begin() + index * kPacketSize);
    group_->next_packet = index + 1;
    group_->size = static_cast<std::size_t>(index * kPacketSize + carried);
}

void Device::OnGroupEnd(const std::uint8_t* data) {
    if (group_) {
        verdict_ = Judge(*group_, GetLe32(data + kAtChecksum));
        verdict_address_ = group_->address;
        if (verdict_ == kGroupRight) {
            image_.Store(group_->address, std::span(group_->data).first(group_->size));
            image_size_ = image_.bytes().size();
        }
        group_.reset();
    } else if (!verdict_left_) {
        Note("group end without a group start: answered as wrong");
        verdict_ = kGroupWrong;
    } else if (now_ < *verdict_left_ + kQuietTime) {
        return;
    } else {
        Note("group end still comes: verdict sent again");
    }
    Payload payload = Mirror(data);
    payload[kAtStatus] = verdict_;
    PutLe32(&payload[kAtNextAddress], verdict_ == kGroupRight ? AnnounceAddress() : verdict_address_);
    verdict_left_ = Reply(kPfGroupEndReply, payload);
}

void Device::OnProgramCheck(const std::uint8_t* data) {
    checksum_ = GetLe32(data + kAtChecksum);
    const std::optional<std::size_t> size = image_.SizeFor(settings_.plan, *checksum_, exact_size_);
    if (!size)
        Note("program check " + Hex(*checksum_) + " fits none of the " + std::to_string(groups()) +
             " groups' sizes");
    image_size_ = size.value_or(image_.bytes().size());
    checked_ = true;

    Payload payload = Mirror(data);
    payload[kAtStatus] = left_.fail_check != kAccepted ? left_.fail_check : size ? kAccepted : kImageWrong;
    job_ = payload[kAtStatus] == kAccepted ? Job::kVerified : Job::kCheckFailed;
    Reply(kPfProgramCheckReply, payload);
}

void Device::OnReset(const std::uint8_t* data) {
    if (data[kAtResetKey] != kResetNow) return Violation("reset without its key");
    if (job_ == Job::kVerified) job_ = Job::kComplete;
    if (job_ == Job::kRunning) {
        Violation("reset before the program check passed");
        UpdaterGone();
    }
    if (left_.no_reset_reply) return;
    Payload payload = Mirror(data);
    payload[kAtStatus] = kResetDone;
    Reply(kPfResetReply, payload);
}

// What the commands share.

void Device::BeginJob(const std::uint8_t* data) {
    std::copy_n(data, address_bytes_.size(), address_bytes_.begin());
    job_ = Job::kRunning;
    left_ = settings_.faults;
    data_seen_ = muted_ = false;
    group_.reset();
    verdict_left_.reset();
    image_.Clear();
    image_size_ = 0;
    checksum_.reset();
}

void Device::NoticeNewUpdater(std::uint16_t sequence) {
    // Sequence numbers wrap, so to start over is to be closer behind the last number than ahead of it.
    if (heartbeat_ && static_cast<std::int16_t>(sequence - *heartbeat_) < 0) {
        if (!IsOver() && HasBegun()) Note("heartbeats start over: another updater, the transfer is given up");
        UpdaterGone();
    }
    heartbeat_ = sequence;
}

void Device::ServeMute() {
    muted_ = data_seen_ && left_.mute_heartbeats > 0;
    if (muted_) --left_.mute_heartbeats;
}

bool Device::BelongsToJob(std::uint8_t pf, const std::uint8_t* data) {
    if (job_ == Job::kNone || job_ == Job::kAborted || job_ == Job::kRefused) {
        if (pf == kPfReset) return true;  // a device at rest resets too
        Note("command " + Hex(pf).substr(6) + " without an accepted start download, ignored");
        return false;
    }
    if (std::equal(address_bytes_.begin(), address_bytes_.end(), data)) return true;
    Violation("command " + Hex(pf).substr(6) + " with other address bytes than the job's, ignored");
    return false;
}

std::uint8_t Device::Judge(const OpenGroup& group, std::uint32_t checksum) {
    const std::size_t index = image_.IndexOf(group.address);
    if (Fails(left_.erase_fails, index)) {
        ++counters_.erase_failed;
        return kEraseFailed;
    }
    const auto bytes = std::span(group.data).first(group.size);
    const std::optional<std::uint32_t> own = ChecksumOf(bytes);
    const bool right = group.in_order && !bytes.empty() && own == checksum;
    // A staged image's last group ends where the image does: only its checksum tells it from one cut short.
    const bool complete = group.in_order && (group.size == kGroupSize || right);
    const bool behind_short = image_.EndsShort() && index == image_.groups();
    if (behind_short) {
        Violation("group " + std::to_string(index) + ": after a short group, which ends the image");
    } else if (!complete) {
        Note("group " + std::to_string(index) + ": packets missing or out of order");
    } else if (!right) {
        Note("group " + std::to_string(index) + ": checksum " + Hex(checksum) + ", expected " + Hex(*own));
    }
    if (Fails(left_.reject_groups, index) || behind_short || !right) {
        ++counters_.rejected;
        return kGroupWrong;
    }
    return kGroupRight;
}

std::optional<std::uint32_t> Device::ChecksumOf(std::span<const std::uint8_t> data) const {
    if (settings_.plan == Plan::kB) return StandardCrc(data);
    return HasWordCrc(data) ? std::optional(WordCrc(data)) : std::nullopt;
}

bool Device::Fails(std::vector<GroupFault>& faults, std::size_t index) {
    for (GroupFault& fault : faults) {
        if (fault.index != index || fault.times == 0) continue;
        --fault.times;
        return true;
    }
    return false;
}

bool Device::IsAnnounced(std::uint32_t address) const {
    const std::uint32_t offset = address - settings_.base;
    return offset % kGroupSize == 0 && offset / kGroupSize < announced_;
}

std::uint32_t Device::AnnounceAddress() {
    return settings_.base + kGroupSize * announced_++;
}

void Device::SendAddressAndGoAhead() {
    if (IsWaiting(kPfGoAhead)) return;  // a slow answer to this command's first sending
    Payload payload = Mirror(address_bytes_.data());
    PutLe32(&payload[kAtNextAddress], AnnounceAddress());
    Reply(kPfAddressReply, payload);
    Reply(kPfGoAhead, GoAhead(), kGoAheadPause);
}

Device::Payload Device::GoAhead() const {
    Payload payload = Mirror(address_bytes_.data());
    PutLe32(&payload[kAtGoAheadValue], settings_.base);
    return payload;
}

Micros Device::Reply(std::uint8_t pf, const Payload& payload, Micros later) {
    const Micros due = now_ + settings_.faults.delay + later;
    if (pf != kPfHeartbeatReply && IsWaiting(pf)) return due;
    if (pf != kPfHeartbeatReply) busy_until_ = std::max(busy_until_, due);
    if (settings_.faults.silent || muted_ || IsLost()) return due;

    can_frame frame{};
    frame.can_id = Identifier(pf, kUpdaterAddress, settings_.address);
    frame.can_dlc = kFrameLength;
    std::ranges::copy(payload, frame.data);
    const auto at = std::ranges::upper_bound(pending_, due, {}, &Pending::due);
    pending_.insert(at, {due, frame});
    return due;
}

bool Device::IsWaiting(std::uint8_t pf) const {
    return std::ranges::any_of(pending_, [pf](const Pending& each) { return PfOf(each.frame.can_id) == pf; });
}

bool Device::IsLost() {
    if (settings_.faults.drop_percent <= 0) return false;
    const bool lost = static_cast<double>(random_()) < settings_.faults.drop_percent / 100 * 4294967296.0;
    counters_.lost += lost;
    return lost;
}

bool Device::OverrunsBuffer() {
    if (settings_.faults.take == 0) return false;
    if (taken_.size() == static_cast<std::size_t>(settings_.faults.take)) {
        if (now_ - taken_.front() < kTakeSpan) {
            ++counters_.lost;
            return true;
        }
        taken_.pop_front();
    }
    taken_.push_back(now_);
    return false;
}

void Device::Note(std::string text) {
    // Said once for a run of like commands; a group's packets would say it a hundred times a second.
    if (text == last_note_) return;
    last_note_ = text;
    notes_.push_back(std::move(text));
}

void Device::Violation(std::string text) {
    ++counters_.violations;
    Note(std::move(text));
}

}  // namespace sim
