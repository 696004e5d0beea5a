// The frames of the protocol: builders of commands, handlers of replies.
#include <algorithm>
#include <cstdio>

#include "canframe.h"
#include "littleendian.h"

using namespace velmorin;

/// A command of the update with its three address bytes; the rest is zero.
tagCAN_MailBox canframe::Command(Pf pf) const {
    tagCAN_MailBox command{};
    command.priority = kPriorityUpdate;
    command.pf = pf;
    command.len = kFrameLength;
    command.data[kAtPort] = LowByte(m_canport);
    command.data[kAtDeviceType] = LowByte(m_devtype);
    command.data[kAtUpdateAddress] = LowByte(m_updateaddress);
    return command;
}

tagCAN_MailBox canframe::Build1792() {
    tagCAN_MailBox command = Command(kPfVersionCheck);
    command.priority = kPriorityVersion;
    command.data[kAtVersionCommand] = kVersionCommand;
    command.data[kAtVersionNumber] = kVersionNumber;
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
    PutLe16(command.data + kAtHeartbeatNumber, m_heartlast);
    return command;
}

tagCAN_MailBox canframe::Build29184() {
    tagCAN_MailBox command = Command(kPfStartDownload);
    command.data[kAtFunctionIndex] = LowByte(m_funcindex);
    return command;
}

tagCAN_MailBox canframe::Build29696() {
    tagCAN_MailBox command = Command(kPfAddressRequest);
    PutLe32(command.data + kAtImageSize, m_firewaretype != 0 ? static_cast<unsigned int>(m_filesize) : 0);
    return command;
}

tagCAN_MailBox canframe::Build30464(int& result) {
    tagCAN_MailBox command = Command(kPfGroupStart);
    const auto group =
        std::ranges::find_if(m_addlist, [](const s_addnode& each) { return each.state == kUnconfirmed; });
    if (group == m_addlist.end()) {
        result = kStartNone;
        return command;
    }
    std::printf("send count:%d countmax:%d packcout:%d\n", group->sendcount, kMaxGroupStarts, group->count);
    if (group->sendcount >= kMaxGroupStarts) {
        result = kStartUsedUp;
        return command;
    }
    ++group->sendcount;
    result = kStartGroup;
    m_packid = 0;
    m_groupaddress = m_startaddress = group->address;
    if (m_crcplan == kPlanA) {
        m_groupcrc = group->crc32A;
        std::printf("groupaddress:%08x crc32A:%08x\n", m_groupaddress, m_groupcrc);
    } else {
        m_groupcrc = group->crc32B;
        std::printf("groupaddress:%08x crc32B:%08x\n", m_groupaddress, m_groupcrc);
    }
    PutLe32(command.data + kAtGroupAddress, m_groupaddress);
    return command;
}

tagCAN_MailBox canframe::Build31232() {
    tagCAN_MailBox command = Command(kPfGroupEnd);
    PutLe32(command.data + kAtChecksum, m_groupcrc);
    return command;
}

tagCAN_MailBox canframe::Build31744() {
    tagCAN_MailBox command = Command(kPfProgramCheck);
    PutLe32(command.data + kAtChecksum, m_crcplan == kPlanA ? m_crcA : m_crcB);
    return command;
}

tagCAN_MailBox canframe::Build32256() {
    tagCAN_MailBox command = Command(kPfReset);
    command.data[kAtResetKey] = kResetNow;
    return command;
}

bool canframe::AnyAddressByteMatches(const unsigned char* data) const {
    return data[kAtPort] == m_canport || data[kAtDeviceType] == m_devtype ||
           data[kAtUpdateAddress] == m_updateaddress;
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
    const auto group = std::ranges::find_if(
        m_addlist, [](const s_addnode& each) { return each.addrstate == kAddressMissing; });
    if (group == m_addlist.end()) return;
    group->address = address;
    group->addrstate = kAddressGiven;
}

/// Of several groups with the current address, the one whose packets went out: the first unconfirmed one.
void canframe::ConfirmGroup() {
    const auto has_address = [this](const s_addnode& each) { return each.address == m_groupaddress; };
    auto group = std::ranges::find_if(
        m_addlist, [&](const s_addnode& each) { return has_address(each) && each.state == kUnconfirmed; });
    if (group == m_addlist.end()) group = std::ranges::find_if(m_addlist, has_address);
    if (group == m_addlist.end()) return;
    group->state = kConfirmed;
    std::deque<s_datanode>().swap(group->dataqueue);  // clear() would keep memory
}

void canframe::Deal2048(const unsigned char* data) {
    version_passed_ = VersionPasses(data);
}

void canframe::Deal28928(const unsigned char* data) {
    if (data[kAtPort] != m_canport && data[kAtDeviceType] != m_devtype)
        std::puts("can mark and dev type is not same");
    if (GetLe16(data + kAtHeartbeatNumber) != m_heartlast) m_errorcode = kResultHeartbeat;
    m_heartmiss = 0;
}

void canframe::Deal29440(const unsigned char* data) {
    CheckAddressBytes(data);
    m_startack = data[kAtStatus];
    m_startacked = 1;
    m_crcplan = data[kAtPlan];
}

void canframe::Deal29952(const unsigned char* data) {
    CheckAddressBytes(data);
    GiveAddress(GetLe32(data + kAtNextAddress));
}

void canframe::Deal30208(const unsigned char* data) {
    CheckAddressBytes(data);
}

void canframe::Deal30720(const unsigned char* data) {
    RequireAddressBytes(data);
    const unsigned int address = GetLe32(data + kAtGroupAddress);
    if (address == m_startaddress) return;
    std::printf("CAN RCV start address error:send:0x%08x rcv:0x%08x\n", m_startaddress, address);
    m_errorcode = kResultStartAddress;
}

void canframe::Deal31488(const unsigned char* data) {
    RequireAddressBytes(data);
    if (data[kAtStatus] == kGroupWrong) {
        if (m_debug == 1) std::puts("check group checkcrc failed");
        return;
    }
    if (data[kAtStatus] != kGroupRight) {
        if (m_debug == 1) std::puts("check group erase failed");
        m_errorcode = kResultErase;
        return;
    }
    if (m_debug == 1) std::puts("check group checkcrc sucessfull");
    ConfirmGroup();
    GiveAddress(GetLe32(data + kAtNextAddress));
}

void canframe::Deal32000(const unsigned char* data) {
    RequireAddressBytes(data);
    m_checkack = data[kAtStatus];
    m_errorcode = m_checkack != kAccepted ? kResultProgramCheck : kResultSuccess;
}

void canframe::Deal32512(const unsigned char* data) {
    RequireAddressBytes(data);
    m_errorcode = data[kAtStatus] == kResetDone ? kResultResetDone : kResultResetFailed;
}
