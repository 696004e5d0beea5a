// Everything that goes onto the bus: queued command frames and the packets of the send cache.
#include <cstdio>
#include <cstring>

#include "canframe.h"
#include "littleendian.h"

int canframe::SendMessageEvent() {
    if (m_mailbox.empty()) return 0;
    const tagCAN_MailBox command = m_mailbox.front();
    m_mailbox.pop_front();
    can_frame frame{};
    frame.can_id = CAN_EFF_FLAG | static_cast<canid_t>(command.priority) << kPriorityShift |
                   static_cast<canid_t>(command.pf) << kPfShift |
                   static_cast<canid_t>(LowByte(m_chargeaddress)) << kDestinationShift | kUpdaterAddress;
    frame.can_dlc = command.len;
    std::memcpy(frame.data, command.data, sizeof command.data);
    CAN_Write(m_canhandle, frame);
    return 0;
}

int canframe::SendMessageEventV2() {
    const auto group = finder_.HolderOf(m_addlist, m_groupaddress, m_packid);
    if (group == m_addlist.end()) return -1;
    if (m_debug == 1) {
        std::printf("packid:%d listadd:%08x m:%08x\n", m_packid, m_groupaddress, m_groupaddress);
    }
    const can_frame& frame = group->dataqueue[static_cast<std::size_t>(m_packid)].frame;
    ++m_packid;
    CAN_Write(m_canhandle, frame);
    return 0;
}
