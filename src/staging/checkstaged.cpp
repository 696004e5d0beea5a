// Is a staged job what was packed? Its rows may have been cut short by a full disk or a killed process, or
// changed since; nothing damaged may reach a device.
#include <algorithm>

#include "jobs.h"
#include "protocol.h"
#include "tool.h"

namespace {

unsigned int CrcA(const std::string& bytes) {
    return tool::crc32_planA(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

unsigned int CrcB(const std::string& bytes) {
    return tool::crc32_planB(reinterpret_cast<const unsigned char*>(bytes.data()),
                             static_cast<unsigned int>(bytes.size()));
}

/// True for packet `index` of a group as it is packed, with `length` image bytes.
bool IsPacket(const JobRow& job, const s_addnode& group, const s_datanode& packet, int index, int length) {
    const unsigned char* data = packet.frame.data;
    return packet.dataid == index && packet.frame.can_id == (group.canid | CAN_EFF_FLAG) &&
           packet.frame.can_dlc == kPacketHeader + length && data[0] == (job.caninterface & 0xFF) &&
           data[1] == (job.devtype & 0xFF) && data[2] == (job.updateaddress & 0xFF) &&
           data[3] == (index & 0xFF);
}

/// Appends the bytes of the group at byte `start` of the image to `image`.
Fault CheckGroup(const JobRow& job, const s_addnode& group, int start, std::string* image) {
    const unsigned int canid =
        kDataIdentifier + ((static_cast<unsigned int>(job.chargeaddress) & 0xFF) << kDestinationShift);
    const int length = std::min(kGroupSize, job.filesize - start);
    const int packets = (length + kPacketSize - 1) / kPacketSize;
    if (group.state != 0 || group.address != static_cast<unsigned int>(start) + kGroupSize ||
        group.canid != canid) {
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

Fault CheckStaged(const JobRow& job, const std::list<s_addnode>& cache) {
    if (job.filesize <= 0) return "a size of " + std::to_string(job.filesize) + " bytes";
    const int groups = job.filesize / kGroupSize + (job.filesize % kGroupSize != 0 ? 1 : 0);
    if (cache.size() != static_cast<std::size_t>(groups)) {
        return std::to_string(cache.size()) + " of " + std::to_string(groups) + " groups";
    }
    std::string image;
    int index = 0;
    for (const s_addnode& group : cache) {
        const Fault fault = CheckGroup(job, group, index++ * kGroupSize, &image);
        if (!fault.empty()) return "group " + std::to_string(index) + ": " + fault;
    }
    return CrcA(image) == job.crcA && CrcB(image) == job.crcB ? "" : "the checksum of the image is wrong";
}
