#include "Packdata.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>

#include "db.h"
#include "file.h"
#include "imagebuffer.h"
#include "littleendian.h"
#include "platform.h"
#include "protocol.h"
#include "tool.h"

using namespace velmorin;

namespace {

constexpr const char* kNoKey = nullptr;

void ReportImage(const char* path, const char* reason) {
    std::fprintf(stderr, "image %s: %s\n", path, reason);
}

/// The image for reading, or null with errno. A pipe in its place does not make us wait.
File OpenImage(const char* path) {
    const int fd = open(platform::ResolvePath(path).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    return File(fd < 0 ? nullptr : fdopen(fd, "rb"));
}

/// Reads the first `size` bytes. 0, or -1 when there are fewer, which is reported.
int ReadImage(std::FILE* image, unsigned char* buffer, std::size_t size, const char* path) {
    if (std::fread(buffer, 1, size, image) == size) return 0;
    ReportImage(path, std::ferror(image) != 0 ? std::strerror(errno) : "shorter than its size");
    return -1;
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
    canid = DataIdentifier(chargeaddress);
    std::printf("CAN ID:%08x\n", canid);
    return 0;
}

int PackData::Pack_ReadFileToCache(unsigned char* buffer, unsigned long size, const char* path) {
    const File image = OpenImage(path);
    if (image) return ReadImage(image.get(), buffer, size, path);
    ReportImage(path, std::strerror(errno));
    return -1;
}

int PackData::ReadWhole(const char* path, bool padded, ImageBuffer* bytes) {
    const File image = OpenImage(path);
    const int reason = errno;
    filesize = 0;
    struct stat status {};
    if (!image) {
        filesize = tool::Tool_GetFileSize(path);
        if (filesize == 0) return kImageEmpty;
    } else if (fstat(fileno(image.get()), &status) != 0 || !S_ISREG(status.st_mode)) {
        ReportImage(path, "not a regular file");
        filesize = static_cast<int>(status.st_size);
        return filesize == 0 ? kImageEmpty : kImageUnreadable;
    } else if (status.st_size > INT_MAX) {
        std::fprintf(stderr, "file:: %s\n", std::strerror(EFBIG));
        ReportImage(path, "2 GiB or more");
        return kImageEmpty;
    } else {
        filesize = static_cast<int>(status.st_size);
        if (filesize == 0) return kImageEmpty;
    }
    std::printf("send file size:%ld\n", static_cast<long>(filesize));
    if (!image) {
        ReportImage(path, std::strerror(reason));
        return kImageUnreadable;
    }
    const auto size = static_cast<std::size_t>(filesize);
    const std::size_t room = padded ? static_cast<std::size_t>(GroupsOf(filesize)) * kGroupSize : size;
    if (!bytes->Allocate(room)) return kNoMemory;
    if (ReadImage(image.get(), bytes->Bytes(), size, path) != 0) return kImageUnreadable;
    std::memset(bytes->Bytes() + size, kPadding, room - size);
    return kPacked;
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
    ImageBuffer image;
    const int unfit = ReadWhole(path, true, &image);
    if (unfit != kPacked) return unfit;
    const int groups = GroupsOf(filesize);
    const int rest = filesize % kGroupSize;

    crcA = tool::crc32_planA(image.Bytes(), image.Size());
    crcB = tool::crc32_planB(image.Bytes(), static_cast<unsigned int>(filesize));
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
        return kNoMemory;
    }
    db().DB_SaveHistory(history, kStagingFile, kNoKey);  // last: a job that cannot be packed has no row
    return kPacked;
}

int PackData::Pack_WriteDataToDBV2(std::list<s_addnode>* cache, int index, const unsigned char* data,
                                   int length) {
    FillGroup(index, data, length, &cache->emplace_back());
    return 0;
}

/// Fills a new group with its packets; it has none for a `length` of 0 or less.
void PackData::FillGroup(int index, const unsigned char* data, int length, s_addnode* group) const {
    length = std::max(length, 0);
    group->state = kUnconfirmed;
    group->addrstate = kAddressMissing;
    group->sendcount = 0;
    group->address = static_cast<unsigned int>(groupsize) * (static_cast<unsigned int>(index) + 1);
    group->canid = canid;
    group->savestamp = timestamp;
    group->crc32A = tool::crc32_planA(data, static_cast<unsigned long>(length));
    group->crc32B = tool::crc32_planB(data, static_cast<unsigned int>(length));
    group->count = PacketsOf(length);
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
    packet.frame.data[kAtPort] = LowByte(canport);
    packet.frame.data[kAtDeviceType] = LowByte(devtype);
    packet.frame.data[kAtUpdateAddress] = LowByte(upaddress);
    packet.frame.data[kAtPacketIndex] = LowByte(index);
    std::copy_n(bytes, length, packet.frame.data + kPacketHeader);
    return packet;
}
