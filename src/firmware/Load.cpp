#include "Load.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "db.h"
#include "elapsed.h"
#include "platform.h"
#include "protocol.h"

using namespace velmorin;

namespace {

constexpr int kNodeRoom = static_cast<int>(sizeof s_savenode::data);

/// Puts a packet's image bytes in their place, unless the packet is damaged. How many bytes it carried.
int AppendPacket(const s_datanode& packet, s_savenode* node) {
    const int length = packet.frame.can_dlc - kPacketHeader;
    if (length < 0 || length > kPacketSize) return 0;
    if (packet.dataid < 0 || packet.dataid >= kNodeRoom / kPacketSize) return 0;
    if (node->datasize > kNodeRoom - length) return 0;
    std::memcpy(node->data + kPacketSize * packet.dataid, packet.frame.data + kPacketHeader,
                static_cast<std::size_t>(length));
    ++node->packcount;
    node->datasize += length;
    return length;
}

bool WriteNodes(const std::list<s_savenode>& nodes, std::FILE* file) {
    for (const s_savenode& node : nodes) {
        const auto size = static_cast<std::size_t>(std::clamp(node.datasize, 0, kNodeRoom));
        if (std::fwrite(node.data, 1, size, file) != size) return false;
    }
    return std::fflush(file) == 0;
}

}  // namespace

int Load::Load_DbToCache(s_history* record, std::list<s_addnode>* cache) {
    gettimeofday(&starttime, nullptr);
    db().DB_GetHistory(record, kStagingFile, nullptr);
    mstamp = record->timestamp;
    std::printf("mstamp:%d\n", mstamp);
    db().DB_GetInfor(mstamp, cache, kStagingFile, nullptr);
    int index = 0;
    for (s_addnode& group : *cache) {
        std::printf("index:%d,state:%d crcA:%08x crcB:%08x\n", index++, group.state, group.crc32A,
                    group.crc32B);
        db().DB_GetData(&group.dataqueue, static_cast<int>(group.address), group.canid, group.savestamp,
                        kStagingFile, nullptr);
    }
    return 0;
}

int Load::Load_SynDatabases(int result) {
    gettimeofday(&endtime, nullptr);
    const int timeuse = ElapsedMs(starttime, endtime);
    std::printf("Load data and save use time: %ld ms\n", static_cast<long>(timeuse));
    db().DB_Clean(kStagingFile, nullptr);
    db().DB_RecordHistory(result, timeuse, mstamp, kStagingFile, nullptr);
    return 0;
}

int Load::Load_CacheClean(std::list<s_addnode>* cache) {
    cache->clear();
    return 0;
}

int Load::Load_UnitTest(std::list<s_addnode>* cache, const char* path) {
    int total = 0;
    std::list<s_savenode> nodes;
    for (s_addnode& group : *cache) {
        s_savenode& node = nodes.emplace_back();
        for (; !group.dataqueue.empty(); group.dataqueue.pop_front()) {
            total += AppendPacket(group.dataqueue.front(), &node);
        }
    }
    std::printf("countnum:%d\n", total);
    std::printf("nsave:%d\n", static_cast<int>(nodes.size()));
    return Load_Save(&nodes, path);
}

int Load::Load_Save(std::list<s_savenode>* nodes, const char* path) {
    std::FILE* file = std::fopen(platform::ResolvePath(path).c_str(), "a");
    bool written = file != nullptr && WriteNodes(*nodes, file);
    int fault = errno;
    if (file != nullptr && std::fclose(file) != 0) {
        written = false;
        fault = errno;
    }
    if (!written) std::fprintf(stderr, "%s: %s\n", path, std::strerror(fault));
    return 0;
}
