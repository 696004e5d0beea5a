// The frames of the protocol: builders of commands, handlers of replies.
#include <cstdio>

#include "canframe.h"
#include "littleendian.h"

/// A command of the update with its three address bytes; the rest is zero.
tagCAN_MailBox canframe::Command(Pf pf) const {
    tagCAN_MailBox command{};
    command.priority = kPriorityUpdate;
    command.pf = pf;
    command.len = kFrameLength;
    command.data[0] = LowByte(m_canport);
    command.data[1] = LowByte(m_devtype);
    command.data[2] = LowByte(m_updateaddress);
    return command;
}

tagCAN_MailBox canframe::Build1792() {
    tagCAN_MailBox command = Command(kPfVersionCheck);
    command.priority = kPriorityVersion;
    command.data[1] = kVersionCommand;
    command.data[2] = kVersionNumber;
    return command;
}

tagCAN_MailBox canframe::Build28672() {
    if (m_heartseq >= kHeartbeatWrap) {
        std::puts("update failed");
        m_heartseq = 0;
    }
    m_heartlast = m_heartseq++;
    ++m_heartmiss;
    tagCAN_MailBox command = Command(kPfHeartbeat);
    PutLe16(command.data + 2, m_heartlast);
    return command;
}

tagCAN_MailBox canframe::Build29184() {
    tagCAN_MailBox command = Command(kPfStartDownload);
    command.data[3] = LowByte(m_funcindex);
    return command;
}

tagCAN_MailBox canframe::Build29696() {
    tagCAN_MailBox command = Command(kPfAddressRequest);
    PutLe32(command.data + 3, m_firewaretype != 0 ? static_cast<unsigned int>(m_filesize) : 0);
    return command;
}

tagCAN_MailBox canframe::Build30464(int& result) {
    tagCAN_MailBox command = Command(kPfGroupStart);
    const auto group = finder_.FirstUnconfirmed(m_addlist);
    if (group == m_addlist.end()) {
        result = 0;
        return command;
    }
    std::printf("send count:%d countmax:%d packcout:%d\n", group->sendcount, kMaxGroupStarts, group->count);
    if (group->sendcount >= kMaxGroupStarts) {
        result = -2;
        return command;
    }
    ++group->sendcount;
    result = 1;
    m_packid = 0;
    m_groupaddress = m_startaddress = group->address;
    if (m_crcplan == kPlanA) {
        m_groupcrc = group->crc32A;
        std::printf("groupaddress:%08x crc32A:%08x\n", m_groupaddress, m_groupcrc);
    } else {
        m_groupcrc = group->crc32B;
        std::printf("groupaddress:%08x crc32B:%08x\n", m_groupaddress, m_groupcrc);
    }
    PutLe32(command.data + 3, m_groupaddress);
    return command;
}

tagCAN_MailBox canframe::Build31232() {
    tagCAN_MailBox command = Command(kPfGroupEnd);
    PutLe32(command.data + 3, m_groupcrc);
    return command;
}

tagCAN_MailBox canframe::Build31744() {
    tagCAN_MailBox command = Command(kPfProgramCheck);
    PutLe32(command.data + 3, m_crcplan == kPlanA ? m_crcA : m_crcB);
    return command;
}

tagCAN_MailBox canframe::Build32256() {
    tagCAN_MailBox command = Command(kPfReset);
    command.data[3] = kResetNow;
    return command;
}

bool canframe::AnyAddressByteMatches(const unsigned char* data) const {
    return data[0] == m_canport || data[1] == m_devtype || data[2] == m_updateaddress;
}

/// A reply of another device is reported and taken all the same: the protocol never refuses one.
void canframe::CheckAddressBytes(const unsigned char* data) const {
    if (!AnyAddressByteMatches(data)) std::puts("can mark and dev type is not same");
}

void canframe::RequireAddressBytes(const unsigned char* data) {
    CheckAddressBytes(data);
    if (!AnyAddressByteMatches(data)) m_errorcode = kResultAddressBytes;
}

void canframe::GiveAddress(unsigned int address) {
    const auto group = finder_.FirstWaiting(m_addlist);
    if (group == m_addlist.end()) return;
    group->address = address;
    group->addrstate = 1;
}

void canframe::Deal2048(const unsigned char* data) {
    version_passed_ = data[1] == kVersionReplyCommand && data[2] == kVersionReplyNumber;
}

void canframe::Deal28928(const unsigned char* data) {
    if (data[0] != m_canport && data[1] != m_devtype) std::puts("can mark and dev type is not same");
    if (GetLe16(data + 2) != m_heartlast) m_errorcode = kResultHeartbeat;
    m_heartmiss = 0;
}

void canframe::Deal29440(const unsigned char* data) {
    CheckAddressBytes(data);
    m_startack = data[3];
    m_startacked = 1;
    m_crcplan = data[5];
}

void canframe::Deal29952(const unsigned char* data) {
    CheckAddressBytes(data);
    GiveAddress(GetLe32(data + 4));
}

void canframe::Deal30208(const unsigned char* data) {
    CheckAddressBytes(data);
}

void canframe::Deal30720(const unsigned char* data) {
    RequireAddressBytes(data);
    const unsigned int address = GetLe32(data + 3);
    if (address == m_startaddress) return;
    std::printf("CAN RCV start address error:send:0x%08x rcv:0x%08x\n", m_startaddress, address);
    m_errorcode = kResultStartAddress;
}

void canframe::Deal31488(const unsigned char* data) {
    RequireAddressBytes(data);
    if (data[3] == kGroupWrong) {
        if (m_debug == 1) std::puts("check group checkcrc failed");
        return;
    }
    if (data[3] != kGroupRight) {
        if (m_debug == 1) std::puts("check group erase failed");
        m_errorcode = kResultErase;
        return;
    }
    if (m_debug == 1) std::puts("check group checkcrc sucessfull");
    const auto group = finder_.FirstUnconfirmedAt(m_addlist, m_groupaddress);
    if (group != m_addlist.end()) {
        group->state = 1;
        std::deque<s_datanode>().swap(group->dataqueue);  // clear() would keep memory
    }
    GiveAddress(GetLe32(data + 4));
}

void canframe::Deal32000(const unsigned char* data) {
    RequireAddressBytes(data);
    m_checkack = data[3];
    m_errorcode = m_checkack != kAccepted ? kResultProgramCheck : kResultSuccess;
}

void canframe::Deal32512(const unsigned char* data) {
    RequireAddressBytes(data);
    m_errorcode = data[3] == kResetDone ? kResultResetDone : kResultResetFailed;
}
