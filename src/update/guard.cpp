#include "guard.h"

#include <cstdio>
#include <utility>

#include "littleendian.h"
#include "protocol.h"

namespace velmorin {
namespace {

/// Heartbeats that another node has to answer, and the device not, before it is taken for the device.
constexpr int kAnswersInPlace = 3;

canid_t WithoutPf(canid_t identifier) {
    return identifier & CAN_EFF_MASK & ~(0xFFU << kPfShift);
}

/// Data bytes that a reply of this kind needs; 0 for what is no reply.
int BytesNeeded(const can_frame& frame) {
    switch (PfOf(frame.can_id)) {
        case kPfHeartbeatReply:
            return kAtHeartbeatNumber + 2;
        case kPfStartDownloadReply:
            return kAtPlan + 1;
        case kPfAddressReply:
            return kAtNextAddress + 4;
        case kPfGoAhead:
            return kAtUpdateAddress + 1;
        case kPfGroupStartReply:
            return kAtGroupAddress + 4;
        case kPfGroupEndReply:
            return frame.data[kAtStatus] == kGroupRight ? kAtNextAddress + 4 : kAtStatus + 1;
        case kPfProgramCheckReply:
        case kPfResetReply:
        case kPfVersionCheckReply:
            return kAtStatus + 1;
        default:
            return 0;
    }
}

}  // namespace

bool Guard::IsReply(const can_frame& frame) {
    return (frame.can_id & CAN_ERR_FLAG) == 0 && BytesNeeded(frame) != 0;
}

const char* Guard::Objection(const can_frame& frame) {
    if ((frame.can_id & CAN_EFF_FLAG) == 0 || (frame.can_id & CAN_RTR_FLAG) != 0)
        return "no extended data frame";
    if (frame.can_dlc < BytesNeeded(frame)) return "too short";
    if (!FitsAnAddressByte(frame)) return "no address byte of the job";
    if (!IsFromDevice(frame)) return "not from the device";
    return Untimely(frame);
}

std::string Guard::TakeNote() {
    return std::exchange(note_, {});
}

bool Guard::IsFromDevice(const can_frame& frame) {
    const bool at_charge_address = SourceOf(frame.can_id) == LowByte(session_.m_chargeaddress) &&
                                   DestinationOf(frame.can_id) == kUpdaterAddress;
    const bool heartbeat = PfOf(frame.can_id) == kPfHeartbeatReply;
    if (at_charge_address && !in_its_place_) {
        device_heard_ = device_heard_ || heartbeat;
        return true;
    }
    if (in_its_place_) return WithoutPf(frame.can_id) == *in_its_place_;
    return heartbeat && !device_heard_ && AnswersInItsPlace(frame);
}

bool Guard::AnswersInItsPlace(const can_frame& frame) {
    const unsigned int number = GetLe16(frame.data + kAtHeartbeatNumber);
    const canid_t node = WithoutPf(frame.can_id);
    if (session_.m_heartseq == 0 || number != session_.m_heartlast) return false;
    if (candidate_ == node && candidate_number_ == number) return false;
    if (candidate_ != node) candidate_answers_ = 0;
    candidate_ = node;
    candidate_number_ = number;
    if (++candidate_answers_ < kAnswersInPlace) return false;
    in_its_place_ = node;
    char text[128];
    std::snprintf(text, sizeof text,
                  "nobody answers at address %02x; the node at %02x does and is taken for the device",
                  LowByte(session_.m_chargeaddress), SourceOf(node));
    note_ = text;
    return true;
}

bool Guard::FitsAnAddressByte(const can_frame& frame) const {
    const unsigned char* data = frame.data;
    if (data[kAtPort] == LowByte(session_.m_canport) || data[kAtDeviceType] == LowByte(session_.m_devtype))
        return true;
    return PfOf(frame.can_id) != kPfHeartbeatReply &&
           data[kAtUpdateAddress] == LowByte(session_.m_updateaddress);
}

const char* Guard::Untimely(const can_frame& frame) const {
    const auto in = [this](Step step) {
        return session_.m_runstep == step ? nullptr : "nobody asked for it now";
    };
    switch (PfOf(frame.can_id)) {
        case kPfHeartbeatReply:
            return nullptr;
        case kPfStartDownloadReply:
            return in(kStepStartDownload);
        case kPfAddressReply:
            return in(kStepRequestAddress);
        case kPfGoAhead:
            return in(kStepIdle);
        case kPfGroupStartReply:
            if (GetLe32(frame.data + kAtGroupAddress) != session_.m_startaddress)
                return "another group's address";
            return in(kStepStartGroup);
        case kPfGroupEndReply:
            return in(kStepGroupEnd);
        case kPfProgramCheckReply:
            return in(kStepProgramCheck);
        case kPfResetReply:
            return in(kStepReset);
        default:
            return "not asked for in a run";
    }
}

}  // namespace velmorin
