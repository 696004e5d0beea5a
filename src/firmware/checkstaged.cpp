// A staged job's rows may have been cut short by a full disk or a killed process, or
// changed since; nothing damaged may reach a device.
#include "checkstaged.h"

#include <algorithm>

#include "littleendian.h"
#include "protocol.h"
#include "textcrc.h"

namespace velmorin {
namespace {

/// True for packet `index` of a group as it is packed, with `length` image bytes.
bool IsPacket(const JobRow& job, const s_addnode& group, const s_datanode& packet, int index, int length) {
    const unsigned char* data = packet.frame.data;
    return packet.dataid == index && packet.frame.can_id == (group.canid | CAN_EFF_FLAG) &&
           packet.frame.can_dlc == kPacketHeader + length && data[kAtPort] == LowByte(job.caninterface) &&
           data[kAtDeviceType] == LowByte(job.devtype) &&
           data[kAtUpdateAddress] == LowByte(job.updateaddress) && data[kAtPacketIndex] == LowByte(index);
}

/// Appends the bytes of the group at byte `start` of the image to `image`.
std::string CheckGroup(const JobRow& job, const s_addnode& group, int start, std::string* image) {
    const int length = std::min(kGroupSize, job.filesize - start);
    const int packets = PacketsOf(length);
    if (group.state != kUnconfirmed || group.address != static_cast<unsigned int>(start) + kGroupSize ||
        group.canid != DataIdentifier(job.chargeaddress)) {
        return "its row is damaged";
    }
    if (group.dataqueue.size() != static_cast<std::size_t>(packets)) {
        return std::to_string(group.dataqueue.size()) + " of " + std::to_string(packets) + " packets";
    }
    if (group.count != packets) return "its row is damaged";
    std::string bytes;
    for (int k = 0; k < packets; ++k) {
        const s_datanode& packet = group.dataqueue[static_cast<std::size_t>(k)];
        const int carried = std::min(kPacketSize, length - k * kPacketSize);
        if (!IsPacket(job, group, packet, k, carried)) return "packet " + std::to_string(k) + " is damaged";
        bytes.append(reinterpret_cast<const char*>(packet.frame.data) + kPacketHeader,
                     static_cast<std::size_t>(carried));
    }
    image->append(bytes);
    return CrcA(bytes) == group.crc32A && CrcB(bytes) == group.crc32B ? "" : "its checksum is wrong";
}

}  // namespace

std::string CheckStaged(const JobRow& job, const std::list<s_addnode>& cache, std::string* image) {
    if (job.filesize <= 0) return "a size of " + std::to_string(job.filesize) + " bytes";
    const int groups = GroupsOf(job.filesize);
    if (cache.size() != static_cast<std::size_t>(groups)) {
        return std::to_string(cache.size()) + " of " + std::to_string(groups) + " groups";
    }
    image->clear();
    int index = 0;
    for (const s_addnode& group : cache) {
        const std::string fault = CheckGroup(job, group, index++ * kGroupSize, image);
        if (!fault.empty()) return "group " + std::to_string(index) + ": " + fault;
    }
    return CrcA(*image) == job.crcA && CrcB(*image) == job.crcB ? "" : "the checksum of the image is wrong";
}

}  // namespace velmorin
