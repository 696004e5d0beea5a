#include "Packdata.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>

#include "db.h"
#include "imagebuffer.h"
#include "platform.h"
#include "protocol.h"
#include "tool.h"

namespace {

constexpr const char* kNoKey = nullptr;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

void ReportImage(const char* path, const char* reason) {
    std::fprintf(stderr, "image %s: %s\n", path, reason);
}

}  // namespace

int PackData::Pack_Init(int port, int charge_address, int device_type, int update_address) {
    canport = port;
    chargeaddress = charge_address;
    devtype = device_type;
    upaddress = update_address;
    Pack_BuildCanid();
    if (tool::Tool_CheckNodeIsExit(kStagingFile) != 1) db().DB_CreateTable(kStagingFile, kNoKey);
    groupsize = kGroupSize;
    return 0;
}

int PackData::Pack_SetCanPort(int value) {
    canport = value;
    return 0;
}

int PackData::Pack_SetChargeAddress(int value) {
    chargeaddress = value;
    return 0;
}

int PackData::Pack_SetDevType(int value) {
    devtype = value;
    return 0;
}

int PackData::Pack_SetUpAddress(int value) {
    upaddress = value;
    return 0;
}

int PackData::Pack_BuildCanid() {
    canid = kDataIdentifier + ((static_cast<unsigned int>(chargeaddress) & 0xFF) << kDestinationShift);
    std::printf("CAN ID:%08x\n", canid);
    return 0;
}

int PackData::Pack_ReadFileToCache(unsigned char* buffer, unsigned long size, const char* path) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(platform::ResolvePath(path).c_str(), "rb"));
    if (!file) {
        ReportImage(path, std::strerror(errno));
        return -1;
    }
    if (std::fread(buffer, 1, size, file.get()) == size) return 0;
    ReportImage(path, std::ferror(file.get()) != 0 ? std::strerror(errno) : "shorter than its size");
    return -1;
}

/// Takes the image's size. 0, or the packers' -1 or -3; nothing has been read then.
int PackData::MeasureImage(const char* path) {
    filesize = tool::Tool_GetFileSize(path);
    struct stat status {};
    if (stat(platform::ResolvePath(path).c_str(), &status) != 0) return -1;
    if (!S_ISREG(status.st_mode)) {
        ReportImage(path, "not a regular file");
        return filesize == 0 ? -1 : -3;
    }
    if (filesize != 0) return 0;
    if (status.st_size != 0) ReportImage(path, "2 GiB or more");
    return -1;
}

/// Starts the job: takes its time and fills its record; `timeuse` is not touched.
void PackData::FillHistory(const char* path, s_history* history) {
    timestamp = static_cast<int>(std::time(nullptr));
    history->state = 0;
    history->chargeaddress = chargeaddress;
    history->caninterface = canport;
    history->devtype = devtype;
    history->updateaddress = upaddress;
    history->filesize = filesize;
    history->timestamp = timestamp;
    const std::size_t length = std::strlen(path);
    if (length < sizeof history->name) std::memcpy(history->name, path, length + 1);
    history->crcA = crcA;
    history->crcB = crcB;
}

int PackData::Pack_RuningV2(const char* path, s_history* history, std::list<s_addnode>* cache) {
    const int unfit = MeasureImage(path);
    if (unfit != 0) return unfit;
    std::printf("send file size:%ld\n", static_cast<long>(filesize));

    const int rest = filesize % kGroupSize;
    const int groups = filesize / kGroupSize + (rest != 0 ? 1 : 0);
    const std::size_t size = static_cast<std::size_t>(filesize);
    const std::size_t padded = static_cast<std::size_t>(groups) * kGroupSize;
    ImageBuffer image(padded);
    if (image.Bytes() == nullptr) return -2;
    if (Pack_ReadFileToCache(image.Bytes(), size, path) != 0) return -3;
    std::memset(image.Bytes() + size, kPadding, padded - size);

    crcA = tool::crc32_planA(image.Bytes(), padded);
    crcB = tool::crc32_planB(image.Bytes(), static_cast<unsigned int>(size));
    std::printf("loop//loop-1:%d dataleave:%d\n", groups, rest);
    FillHistory(path, history);

    const std::size_t groups_before = cache->size();
    try {
        for (int i = 0; i < groups; ++i) {
            const std::size_t start = static_cast<std::size_t>(i) * kGroupSize;
            image.Release(start);
            Pack_WriteDataToDBV2(cache, i, image.Bytes() + start, kGroupSize);
        }
    } catch (const std::bad_alloc&) {
        cache->resize(groups_before);
        *history = {};
        return -2;
    }
    db().DB_SaveHistory(history, kStagingFile, kNoKey);  // last: a job that cannot be packed has no row
    return 0;
}

int PackData::Pack_WriteDataToDBV2(std::list<s_addnode>* cache, int index, const unsigned char* data,
                                   int length) {
    FillGroup(index, data, length, &cache->emplace_back());
    return 0;
}

/// Fills a new group with its packets; it has none for a `length` of 0 or less.
void PackData::FillGroup(int index, const unsigned char* data, int length, s_addnode* group) const {
    length = std::max(length, 0);
    group->state = 0;
    group->addrstate = -1;
    group->sendcount = 0;
    group->address = static_cast<unsigned int>(groupsize) * (static_cast<unsigned int>(index) + 1);
    group->canid = canid;
    group->savestamp = timestamp;
    group->crc32A = tool::crc32_planA(data, static_cast<unsigned long>(length));
    group->crc32B = tool::crc32_planB(data, static_cast<unsigned int>(length));
    group->count = length / kPacketSize + (length % kPacketSize != 0 ? 1 : 0);
    group->dataqueue.resize(static_cast<std::size_t>(group->count));
    for (int k = 0; k < group->count; ++k) {
        const int start = k * kPacketSize;
        group->dataqueue[static_cast<std::size_t>(k)] =
            MakePacket(k, data + start, std::min(kPacketSize, length - start));
    }
}

/// Packet `index` of a group with its 1 to 4 image bytes.
s_datanode PackData::MakePacket(int index, const unsigned char* bytes, int length) const {
    s_datanode packet{};
    packet.dataid = index;
    packet.savestamp = timestamp;
    packet.frame.can_id = canid | CAN_EFF_FLAG;
    packet.frame.can_dlc = static_cast<unsigned char>(kPacketHeader + length);
    packet.frame.data[0] = static_cast<unsigned char>(canport);
    packet.frame.data[1] = static_cast<unsigned char>(devtype);
    packet.frame.data[2] = static_cast<unsigned char>(upaddress);
    packet.frame.data[3] = static_cast<unsigned char>(index);
    std::copy_n(bytes, length, packet.frame.data + kPacketHeader);
    return packet;
}
