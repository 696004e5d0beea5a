// The update session: the one object that carries out one update job, one file of this folder a concern.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <deque>
#include <list>
#include <string>

#include "CanPort.h"
#include "protocol.h"
#include "sendcache.h"

/// One command frame waiting to be written.
struct tagCAN_MailBox {
    std::uint8_t priority = 0;  ///< top three bits of the identifier
    std::uint8_t pf = 0;        ///< PDU format byte of the identifier
    std::uint8_t len = 0;       ///< data length code, always 8
    std::uint8_t data[8]{};     ///< data bytes in bus order
};
static_assert(sizeof(tagCAN_MailBox) == 11);

/// One update job from its first heartbeat to its result. Single-threaded; never copied, never reused.
///
/// Order of use: construct; `CAN_InitDevice`, `SetAddress`, `LoadData` (or `LoadFirewareInfo`,
/// `CAN_InitDevice`, `FirewareUpdateInit`); `Runloop` until `m_finished` is 1; `CacheClean`; `UpdateRecord`;
/// destroy.
///
/// The session owns its port, send cache and mailbox. Nothing here throws but for want of memory.
class canframe {
  public:
    /// Starts every field at the value shown beside it; `m_debug` comes from `Can_Debugeable`.
    canframe();
    /// Closes the port if one is open and frees everything the session holds.
    ~canframe();
    canframe(const canframe&) = delete;
    canframe& operator=(const canframe&) = delete;

    // The job.

    /// Opens the bus port. 0, or -1 when there is no handle; what `CAN_Init` cannot open ends the process.
    int CAN_InitDevice(unsigned int port, int bitrate);
    /// Stores the four bus values and takes the start time. Always 0.
    int SetAddress(int port, int chargeaddress, int devtype, int updateaddress);
    /// Reads the job file into the bus values and the image path. 0; -1 when it cannot be read or is a pipe,
    /// a socket or a directory, nothing printed. Keys that do not occur leave their field alone; the last of
    /// several wins; bad numbers read as 0.
    int LoadFirewareInfo();
    /// Takes the start time and loads the image that the job file names. The result of `LoadData`.
    int FirewareUpdateInit();
    /// Packs the image at `path` into the send cache and writes the job's row. Always 0: a failure is printed
    /// and the session goes on with what the cache holds.
    int LoadData(const char* path);
    /// 1 for an image that is an archive by its path, ".tar.gz" or ".TAR.GZ" anywhere in it, else 0.
    static int FirewareType(const char* path);
    /// Frees every group and packet. Always 0.
    int CacheClean();
    /// Takes the end time, prints time and result code and records both in the job's row. Always 0.
    int UpdateRecord();
    /// 1 when the environment's CAN_UPDATE is "ON", else 0. Prints which one, unless it is unset or empty.
    int Can_Debugeable();

    // Frames out (frames.cpp). Each is named after its PF times 256 and returns the finished record.

    tagCAN_MailBox Build1792();   ///< 0x07 version check; not sent in a run
    tagCAN_MailBox Build28672();  ///< 0x70 heartbeat; numbers it and counts it as unanswered
    tagCAN_MailBox Build29184();  ///< 0x72 start download
    tagCAN_MailBox Build29696();  ///< 0x74 address request; carries the image size for an archive
    /// 0x77 group start: picks the first unconfirmed group and counts the start. `result` becomes a
    /// StartResult; only kStartGroup changes the session.
    tagCAN_MailBox Build30464(int& result);
    tagCAN_MailBox Build31232();  ///< 0x7A group end with the group's checksum
    tagCAN_MailBox Build31744();  ///< 0x7C program check with the image's checksum
    tagCAN_MailBox Build32256();  ///< 0x7E immediate reset

    // Frames in (frames.cpp). Each takes 8 data bytes; those past the frame's length read as zero.

    void Deal2048(const unsigned char* data);   ///< 0x08 version check: notes whether it passed
    void Deal28928(const unsigned char* data);  ///< 0x71 heartbeat: result 1 on another number
    void Deal29440(const unsigned char* data);  ///< 0x73 start download: status and checksum plan
    void Deal29952(const unsigned char* data);  ///< 0x75 address for the first group that waits for one
    void Deal30208(const unsigned char* data);  ///< 0x76 go-ahead: only the address bytes are looked at
    void Deal30720(const unsigned char* data);  ///< 0x78 group start: result 3 on another address
    /// 0x7B group end: 0xAA confirms the first unconfirmed group of the current address (the first group of
    /// it when all are confirmed), frees its packets and gives the next waiting group its address; 0x55
    /// leaves the group; anything else does too, with result 4.
    void Deal31488(const unsigned char* data);
    void Deal32000(const unsigned char* data);  ///< 0x7D program check: result 5, or 0
    void Deal32512(const unsigned char* data);  ///< 0x7F reset: result 6 or 7

    // The machine.

    /// One call of the sequencer, `pass` counting from 1 (sequencer.cpp). Writes at most one command
    /// frame and, in the data step, one packet. Blocks 100 ms in the idle step and 2 s in the closing one,
    /// else not.
    void working(unsigned int pass);
    /// One pass of the main loop: at most one frame in, its handling, one call of the sequencer, 10 ms of
    /// sleep. The result means nothing.
    int Runloop();
    /// Reads at most one frame. `data` has room for at least 250 bytes. `kind` becomes the frame's PF, 0
    /// without a frame, 250 for one taken into or refused by the multi-frame state. Returns the data length
    /// code (at most 8) of a single frame; 1 for a bad first frame or a full buffer; else 0. A completed
    /// message leaves its payload in `data` and its PF in `kind`. If the frames leave no room
    /// for the checksum, it is read from the buffer bytes behind the payload, which are zero at first.
    int RecieveCanMuchData(unsigned char* data, int* kind);
    /// Writes the oldest command frame, if there is one, and forgets it. Always 0.
    int SendMessageEvent();
    /// Writes the next packet of the current group. 0, or -1 when the group has none left.
    int SendMessageEventV2();

    // What a pass consists of, for a run that keeps another clock than Runloop.

    /// Acts on a reply of this kind in whatever step it arrives. Most replies enter their step, which clears
    /// the send count and the resend timer. An address, a reset reply and a failed version check set
    /// `m_runstep` alone and leave both as they are.
    void Dispatch(int kind, const unsigned char* data);
    /// Sets the step and clears its send count and resend timer, so that its frame goes out in the next call.
    void EnterStep(velmorin::Step step);
    /// What the step does in one call. False when that call does not look at the link.
    bool RunStep();
    /// Enough heartbeats are out, and answered, for a download to start.
    bool IsLinked() const;
    /// A lost link starts the download over; confirmed groups stay confirmed.
    void SuperviseLink();
    /// The command as it goes onto the bus.
    can_frame FrameOf(const tagCAN_MailBox& command) const;
    /// The next packet of the current group, null when it has none left. Points into the send cache.
    const can_frame* NextPacket() const;

    int m_finished = 0;  ///< 1 once the session is over
    int m_rxframes = 0;  ///< multi-frame message: frames announced
    int m_rxlength = 0;  ///< multi-frame message: payload bytes announced
    int m_rxseq = 0;     ///< multi-frame message: last sequence number taken; 0 while idle
    unsigned char m_rxbuf[velmorin::kMultiBuffer]{};  ///< multi-frame message: the stream so far
    int m_rxpos = 0;                                  ///< multi-frame message: bytes in m_rxbuf
    CAN_Port* m_canhandle = nullptr;                  ///< the open port, owned
    unsigned int m_loopcount = 0;                     ///< passes so far
    unsigned int m_heartseq = 0;                      ///< number of the next heartbeat
    unsigned int m_sendcount = 0;             ///< sends in this step; cleared on entering one, never raised
    int m_waittime = 0;                       ///< milliseconds until the step's frame is due again; 0: now
    unsigned int m_heartmiss = 0;             ///< heartbeats since the last reply to one
    unsigned int m_heartlast = 0;             ///< number of the last heartbeat
    int m_firewaretype = 0;                   ///< 1 for a .tar.gz image, else 0
    int m_debug = 0;                          ///< 1: protocol trace on
    int m_packid = 0;                         ///< index of the current group's next packet
    int m_runstep = velmorin::kStepLinkWait;  ///< a Step
    int m_checkack = 0;                       ///< status of the last program check reply
    int m_errorcode = velmorin::kResultSuccess;  ///< a ResultCode
    unsigned int m_groupaddress = 0;             ///< address of the current group, its key in the send cache
    int m_canport = 0;                           ///< data byte 0 of every command frame
    int m_chargeaddress = 0;                     ///< the device's bus address
    int m_devtype = 0;                           ///< data byte 1 of every command frame
    int m_updateaddress = 0;                     ///< data byte 2 of every command frame
    int m_funcindex = 0;                         ///< data byte 3 of the start download
    std::string m_firewarename;                  ///< image path from the job file
    int m_startack = 0;                          ///< status of the start download reply
    int m_startacked = 0;                        ///< 1 once that reply arrived
    int m_crcplan = 0;                           ///< 1: the device checks CRC A, else CRC B
    unsigned int m_startaddress = 0;             ///< address in the last group start
    unsigned int m_groupcrc = 0;                 ///< the current group's checksum under the plan
    unsigned int m_crcA = 0;                     ///< CRC A of the image
    unsigned int m_crcB = 0;                     ///< CRC B of the image
    int m_filesize = 0;                          ///< image size in bytes
    timeval m_starttime{};                       ///< when the job started
    timeval m_endtime{};                         ///< when it ended
    std::list<s_addnode> m_addlist;              ///< the send cache: groups in image order
    s_history m_history{};                       ///< the job record
    std::deque<tagCAN_MailBox> m_mailbox;        ///< command frames to write, oldest first

  private:
    tagCAN_MailBox Command(velmorin::Pf pf) const;
    bool AnyAddressByteMatches(const unsigned char* data) const;
    void CheckAddressBytes(const unsigned char* data) const;
    void RequireAddressBytes(const unsigned char* data);
    void ConfirmGroup();
    void GiveAddress(unsigned int address);

    bool ResendDue();
    void Resend(const char* trace, tagCAN_MailBox (canframe::*build)());
    void StartNextGroup();
    void SendNextPacket();

    int CollectFrame(const can_frame& frame, int pf, unsigned char* data, int* kind);
    int TakeFirstFrame(const can_frame& frame);
    int TakeNextFrame(const can_frame& frame, int pf, unsigned char* data, int* kind);
    void ClearMultiFrame();

    bool version_passed_ = false;  // what the last version check reply said
};
