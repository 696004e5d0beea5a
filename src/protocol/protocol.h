// Every number of the update protocol, each with its meaning. Code reads by name; docs/protocol.md
// tells the same in tables. Sizes and timers that the frames imply live here too.
#pragma once

#include <cstdint>

namespace velmorin {

/// PDU format byte (bits 23 to 16 of the 29-bit identifier): what a frame is.
enum Pf : std::uint8_t {
    kPfVersionCheck = 0x07,        ///< command: version check (defined, not sent in a run)
    kPfVersionCheckReply = 0x08,   ///< reply: version check
    kPfHeartbeat = 0x70,           ///< command: heartbeat with its sequence number
    kPfHeartbeatReply = 0x71,      ///< reply: the heartbeat's sequence number
    kPfStartDownload = 0x72,       ///< command: start download
    kPfStartDownloadReply = 0x73,  ///< reply: accepted or refused, and the checksum plan
    kPfAddressRequest = 0x74,      ///< command: ask for the first group's address
    kPfAddressReply = 0x75,        ///< reply: that address
    kPfGoAhead = 0x76,             ///< reply: groups may start
    kPfGroupStart = 0x77,          ///< command: start of a group, with its address
    kPfGroupStartReply = 0x78,     ///< reply: the address, echoed
    kPfData = 0x79,                ///< command: one packet, four image bytes
    kPfGroupEnd = 0x7A,            ///< command: end of a group, with its checksum
    kPfGroupEndReply = 0x7B,       ///< reply: verdict on the group and the next group's address
    kPfProgramCheck = 0x7C,        ///< command: checksum of the whole image
    kPfProgramCheckReply = 0x7D,   ///< reply: verdict on the image
    kPfReset = 0x7E,               ///< command: reset at once
    kPfResetReply = 0x7F,          ///< reply: reset done
    kPfMulti11 = 0x11,             ///< multi-frame message; collected, taken by no handler
    kPfMulti13 = 0x13,             ///< as 0x11
    kPfMulti20 = 0x20,             ///< as 0x11
    kPfMulti61 = 0x61,             ///< as 0x11
};

constexpr std::uint8_t kUpdatePfMask = 0xF0;    ///< of a PF from 0x70 to 0x7F it leaves kPfHeartbeat
constexpr std::uint8_t kUpdaterAddress = 0x8A;  ///< source address of every command frame
constexpr std::uint8_t kPriorityUpdate = 4;     ///< every frame of the update
constexpr std::uint8_t kPriorityVersion = 6;    ///< the version check alone
constexpr int kFrameLength = 8;                 ///< data bytes of every command frame

// Identifier: priority << 26 | PF << 16 | destination << 8 | source.
constexpr int kPriorityShift = 26;
constexpr int kPfShift = 16;
constexpr int kDestinationShift = 8;

/// The 29-bit identifier of a frame, without flags. Of the addresses the low 8 bits count.
constexpr unsigned int Identifier(std::uint8_t priority, std::uint8_t pf, int destination, int source) {
    return static_cast<unsigned int>(priority) << kPriorityShift | static_cast<unsigned int>(pf) << kPfShift |
           (static_cast<unsigned int>(destination) & 0xFF) << kDestinationShift |
           (static_cast<unsigned int>(source) & 0xFF);
}
/// The identifier of the data frames to the device at `charge_address`.
constexpr unsigned int DataIdentifier(int charge_address) {
    return Identifier(kPriorityUpdate, kPfData, charge_address, kUpdaterAddress);
}
constexpr std::uint8_t PfOf(unsigned int identifier) {
    return static_cast<std::uint8_t>(identifier >> kPfShift & 0xFF);
}
constexpr std::uint8_t DestinationOf(unsigned int identifier) {
    return static_cast<std::uint8_t>(identifier >> kDestinationShift & 0xFF);
}
constexpr std::uint8_t SourceOf(unsigned int identifier) {
    return static_cast<std::uint8_t>(identifier & 0xFF);
}

// Where things lie in the data bytes. The first three are the address bytes of commands and replies.
constexpr int kAtPort = 0;             ///< port number
constexpr int kAtDeviceType = 1;       ///< device type
constexpr int kAtUpdateAddress = 2;    ///< update address, but in 0x70 and 0x71
constexpr int kAtHeartbeatNumber = 2;  ///< 0x70, 0x71: sequence number, 16 bits
constexpr int kAtFunctionIndex = 3;    ///< 0x72
constexpr int kAtStatus = 3;           ///< 0x73, 0x7B, 0x7D, 0x7F
constexpr int kAtPlan = 5;             ///< 0x73: checksum plan
constexpr int kAtImageSize = 3;        ///< 0x74, 32 bits
constexpr int kAtNextAddress = 4;      ///< 0x75, 0x7B: address for the next group without one, 32 bits
constexpr int kAtGoAheadValue = 4;     ///< 0x76: 32 bits that the updater does not use
constexpr int kAtGroupAddress = 3;     ///< 0x77, 0x78: 32 bits
constexpr int kAtPacketIndex = 3;      ///< 0x79; image bytes follow
constexpr int kAtChecksum = 3;         ///< 0x7A, 0x7C: 32 bits
constexpr int kAtResetKey = 3;         ///< 0x7E
constexpr int kAtVersionCommand = 1;   ///< 0x07, 0x08
constexpr int kAtVersionNumber = 2;    ///< 0x07, 0x08

/// What the sequencer does in a pass; the value is what `m_runstep` holds.
enum Step : int {
    kStepIdle = -2,           ///< 100 ms a pass, until a reply or a lost link
    kStepClosing = -1,        ///< the job is over: wait two seconds, then finish
    kStepLinkWait = 0,        ///< until four heartbeats are out and at most one is unanswered
    kStepBegin = 2,           ///< on to the start of the download
    kStepStartDownload = 3,   ///< ask the device to take an image, again every 500 ms
    kStepRequestAddress = 4,  ///< ask for the first group's address, again every 500 ms
    kStepStartGroup = 5,      ///< offer the next unconfirmed group, again every 500 ms
    kStepData = 6,            ///< one packet of the group a pass
    kStepGroupEnd = 7,        ///< send the group's checksum, again every 500 ms
    kStepProgramCheck = 8,    ///< send the image's checksum, again every 500 ms
    kStepReset = 9,           ///< send the reset, again every 500 ms
};

/// How a job went; the value is what `m_errorcode` and the job row's `result` hold.
enum ResultCode : int {
    kResultOpen = -1,           ///< only in the job row: the job has not ended
    kResultSuccess = 0,         ///< the device confirmed the image and its reset
    kResultHeartbeat = 1,       ///< a heartbeat reply carried another sequence number
    kResultAddressBytes = 2,    ///< a reply carried none of the job's address bytes
    kResultStartAddress = 3,    ///< a group start reply echoed another address
    kResultErase = 4,           ///< the device could not erase for a group
    kResultProgramCheck = 5,    ///< the device refused the whole image
    kResultResetDone = 6,       ///< reset reply "done"; replaced by 0 at once
    kResultResetFailed = 7,     ///< reset reply "failed"; replaced by 0 at once
    kResultVersion = 8,         ///< the version check did not pass
    kResultRefused = 10,        ///< the device refused the download
    kResultGroupRejected = 12,  ///< a group was to be started a fourth time
    kResultInterrupted = 13,    ///< a signal, or a person, ended the job
    kResultSilent = 14,         ///< the device did not answer (velmorinctl)
    kResultBusLost = 15,        ///< the bus was lost (velmorinctl)
};

/// `result` in a few words of plain English; "unknown" for a value that no job records. Static text.
const char* ResultText(int result);

// Values inside data bytes.
constexpr std::uint8_t kAccepted = 0x00;        ///< 0x73, 0x7D byte 3: yes; any other value: no
constexpr std::uint8_t kPlanA = 1;              ///< 0x73 byte 5: CRC A; any other value: CRC B
constexpr std::uint8_t kGroupRight = 0xAA;      ///< 0x7B byte 3: the group's checksum is right
constexpr std::uint8_t kGroupWrong = 0x55;      ///< 0x7B byte 3: it is wrong; any other value: erase failed
constexpr std::uint8_t kResetNow = 0xAA;        ///< 0x7E byte 3
constexpr std::uint8_t kResetDone = 0xAA;       ///< 0x7F byte 3: done; any other value: failed
constexpr std::uint8_t kVersionCommand = 0x20;  ///< 0x07 byte 1
constexpr std::uint8_t kVersionNumber = 0x01;   ///< 0x07 byte 2
constexpr std::uint8_t kVersionReplyCommand = 0x00;  ///< 0x08 byte 1 of a check that passes
constexpr std::uint8_t kVersionReplyNumber = 0x02;   ///< 0x08 byte 2 of a check that passes

/// Whether the version check has passed, by the data bytes of 0x08.
constexpr bool VersionPasses(const unsigned char* data) {
    return data[kAtVersionCommand] == kVersionReplyCommand && data[kAtVersionNumber] == kVersionReplyNumber;
}

// The image on the bus.
constexpr int kGroupSize = 1024;  ///< image bytes in a group
constexpr int kPacketSize = 4;    ///< image bytes in a packet
constexpr int kPacketHeader = 4;  ///< data bytes before them: port, type, address, index
constexpr int kPacketsPerGroup = kGroupSize / kPacketSize;
constexpr std::uint8_t kPadding = 0xFF;  ///< fills the last group; erased flash reads the same
constexpr int kMaxGroupStarts = 3;       ///< how often one group is offered

/// Groups of an image of `bytes`, the last one as short as the image leaves it.
constexpr int GroupsOf(int bytes) {
    return bytes / kGroupSize + (bytes % kGroupSize != 0 ? 1 : 0);
}
/// Packets of a group of `bytes`.
constexpr int PacketsOf(int bytes) {
    return bytes / kPacketSize + (bytes % kPacketSize != 0 ? 1 : 0);
}

/// `s_addnode::state`: has the device confirmed the group?
enum GroupState : int { kUnconfirmed = 0, kConfirmed = 1 };
/// `s_addnode::addrstate`: has the device named an address for the group?
enum AddressState : int { kAddressMissing = -1, kAddressGiven = 1 };
/// What `canframe::Build30464` came to.
enum StartResult : int {
    kStartNone = 0,     ///< no unconfirmed group is left
    kStartGroup = 1,    ///< the frame is to be sent
    kStartUsedUp = -2,  ///< the group has been offered kMaxGroupStarts times already
};

// Pace. A pass is the unit of all timing.
constexpr int kPassMs = 10;                     ///< sleep at the end of every pass
constexpr int kIdlePauseMs = 100;               ///< further sleep of a pass in the idle step
constexpr int kClosingPauseS = 2;               ///< sleep of the closing step
constexpr int kResendMs = 500;                  ///< resend timer; loses kPassMs a pass
constexpr unsigned int kHeartbeatPasses = 100;  ///< a heartbeat every so many passes
constexpr unsigned int kHeartbeatsForLink = 4;  ///< heartbeats sent before a download starts
constexpr unsigned int kMissedForLink = 1;      ///< unanswered heartbeats a good link may have
constexpr unsigned int kMissedLimit = 3;        ///< more unanswered heartbeats than this: link lost
constexpr unsigned int kHeartbeatWrap = 65536;  ///< sequence numbers are 16 bits wide

// Multi-frame messages.
constexpr int kMultiFirstPayload = 4;  ///< stream bytes in the first frame
constexpr int kMultiNextPayload = 7;   ///< stream bytes in each further frame
constexpr int kMultiMinLength = 8;     ///< payload bytes
constexpr int kMultiMaxLength = 250;   ///< payload bytes
constexpr int kMultiBuffer = 256;      ///< bytes the collecting buffer holds
constexpr int kAtMultiSequence = 0;    ///< number of the frame, from 1
constexpr int kAtMultiFrames = 1;      ///< first frame: frames of the message
constexpr int kAtMultiLength = 2;      ///< first frame: payload bytes, 16 bits
constexpr int kAtMultiFirst = 4;       ///< first frame: its stream bytes
constexpr int kAtMultiNext = 1;        ///< further frames: their stream bytes

/// Frame kinds that are no PF, as the receive path reports them.
constexpr int kKindNone = 0;       ///< no frame was read
constexpr int kKindPartial = 250;  ///< taken into, or refused by, the multi-frame state

// The bus.
constexpr unsigned int kBusPort = 0;  ///< interface can0
constexpr int kBusBitrate = 125000;   ///< bit/s

// Which port number goes with a charge address when none is given.
constexpr int kChargeAddressPort1 = 0xE0;  ///< charge address served by port number 1
constexpr int kChargeAddressPort2 = 0xE1;  ///< charge address served by port number 2; any other: 0

constexpr int PortNumber(int charge_address) {
    if (charge_address == kChargeAddressPort1) return 1;
    return charge_address == kChargeAddressPort2 ? 2 : 0;
}

}  // namespace velmorin
