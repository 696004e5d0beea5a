// The packer's second path: an image as rows of the staging file, to be downloaded at another time.
#include <algorithm>
#include <cstdio>
#include <new>

#include "Packdata.h"
#include "db.h"
#include "elapsed.h"
#include "imagebuffer.h"
#include "protocol.h"
#include "tool.h"

using namespace velmorin;

int PackData::Pack_GetUpFileSize(const char* path) {
    filesize = tool::Tool_GetFileSize(path);
    return filesize == 0 ? -1 : 0;
}

int PackData::Pack_Runing(const char* path) {
    gettimeofday(&starttime, nullptr);
    ImageBuffer image;
    const int unfit = ReadWhole(path, false, &image);
    if (unfit != kPacked) return unfit;
    crcA = tool::crc32_planA(image.Bytes(), image.Size());
    crcB = tool::crc32_planB(image.Bytes(), static_cast<unsigned int>(image.Size()));

    s_history history{};
    FillHistory(path, &history);
    db().DB_SaveHistory(&history, kStagingFile, nullptr);
    int start = 0;
    for (int index = 0; start < filesize; ++index) {
        const int length = std::min(kGroupSize, filesize - start);
        Pack_WriteDataToDB(index, image.Bytes() + start, length);
        start += length;
    }
    gettimeofday(&endtime, nullptr);
    timeuse = ElapsedMs(starttime, endtime);
    std::printf("save data to db use time: %ld ms\n", static_cast<long>(timeuse));
    return kPacked;
}

int PackData::Pack_WriteDataToDB(int index, const unsigned char* data, int length) {
    constexpr const char* kNoMemoryForIt = nullptr;
    s_addnode group{};
    try {
        FillGroup(index, data, length, &group);
    } catch (const std::bad_alloc&) {
        return db().DB_RunCommond(kNoMemoryForIt, kStagingFile, nullptr);
    }
    db().DB_SaveGroup(group, kStagingFile, nullptr);
    return db().DB_SavePackets(group, kStagingFile, nullptr);
}

int PackData::Pack_WriteHistoryToDB(const char* name) {
    s_history history{};
    FillHistory(name, &history);
    const std::string statement = db::HistoryInsert(history);
    std::printf("Pack_WriteHistoryToDB cmd:\n%s\n", statement.c_str());
    return db().DB_RunCommond(statement.empty() ? nullptr : statement.c_str(), kStagingFile, nullptr);
}
