// Everything that goes onto the bus: queued command frames and the packets of the send cache.
#include <algorithm>
#include <cstdio>

#include "canframe.h"

using namespace velmorin;

can_frame canframe::FrameOf(const tagCAN_MailBox& command) const {
    can_frame frame{};
    frame.can_id = CAN_EFF_FLAG | Identifier(command.priority, command.pf, m_chargeaddress, kUpdaterAddress);
    frame.can_dlc = command.len;
    std::ranges::copy(command.data, frame.data);
    return frame;
}

const can_frame* canframe::NextPacket() const {
    for (const s_addnode& group : m_addlist) {
        if (group.address == m_groupaddress && m_packid >= 0 && m_packid < group.count &&
            static_cast<std::size_t>(m_packid) < group.dataqueue.size()) {
            return &group.dataqueue[static_cast<std::size_t>(m_packid)].frame;
        }
    }
    return nullptr;
}

int canframe::SendMessageEvent() {
    if (m_mailbox.empty()) return 0;
    const can_frame frame = FrameOf(m_mailbox.front());
    m_mailbox.pop_front();
    CAN_Write(m_canhandle, frame);
    return 0;
}

int canframe::SendMessageEventV2() {
    const can_frame* packet = NextPacket();
    if (packet == nullptr) return -1;
    if (m_debug == 1) {
        std::printf("packid:%d listadd:%08x m:%08x\n", m_packid, m_groupaddress, m_groupaddress);
    }
    ++m_packid;
    CAN_Write(m_canhandle, *packet);
    return 0;
}
