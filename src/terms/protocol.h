// Every number of the update protocol, each with its meaning. Code reads by name; docs/protocol.md
// tells the same in tables. Sizes and timers that the frames imply live here too.
#pragma once

#include <cstdint>

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

/// Identifier: priority << 26 | PF << 16 | destination << 8 | source.
constexpr int kPriorityShift = 26;
constexpr int kPfShift = 16;
constexpr int kDestinationShift = 8;
constexpr std::uint8_t kUpdaterAddress = 0x8A;  ///< source address of every command frame
constexpr std::uint8_t kPriorityUpdate = 4;     ///< every frame of the update
constexpr std::uint8_t kPriorityVersion = 6;    ///< the version check alone
constexpr unsigned int kDataIdentifier =        ///< identifier of a data frame to device address 0
    static_cast<unsigned int>(kPriorityUpdate) << kPriorityShift |
    static_cast<unsigned int>(kPfData) << kPfShift | kUpdaterAddress;
constexpr int kFrameLength = 8;  ///< data bytes of every command frame

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

// The image on the bus.
constexpr int kGroupSize = 1024;  ///< image bytes in a group
constexpr int kPacketSize = 4;    ///< image bytes in a packet
constexpr int kPacketHeader = 4;  ///< data bytes before them: port, type, address, index
constexpr int kPacketsPerGroup = kGroupSize / kPacketSize;
constexpr std::uint8_t kPadding = 0xFF;  ///< fills the last group; erased flash reads the same
constexpr int kMaxGroupStarts = 3;       ///< how often one group is offered

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
constexpr int kMultiFirstPayload = 4;  ///< stream bytes in the first frame, from byte 4
constexpr int kMultiNextPayload = 7;   ///< stream bytes in each further frame, from byte 1
constexpr int kMultiMinLength = 8;     ///< payload bytes
constexpr int kMultiMaxLength = 250;   ///< payload bytes
constexpr int kMultiBuffer = 256;      ///< bytes the collecting buffer holds

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
