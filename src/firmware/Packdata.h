// Cuts a firmware image into groups of 1024 bytes and packets of 4, ready to be sent.
#pragma once

#include <sys/time.h>

#include <list>

#include "sendcache.h"

namespace velmorin {

class ImageBuffer;

/// What packing an image came to.
enum PackResult : int {
    kPacked = 0,
    kImageEmpty = -1,       ///< empty, 2 GiB or more, or not to be examined
    kNoMemory = -2,         ///< no memory for it
    kImageUnreadable = -3,  ///< cannot be read whole, or is no regular file
};

}  // namespace velmorin

/// Packs one image for one device. `Pack_Init` comes first; the object owns nothing that outlives it.
class PackData {
  public:
    /// Stores the four bus values, builds the identifier of the data frames and prints it, and creates the
    /// staging file with its tables when there is none; a file that exists is left as it is. Always 0.
    int Pack_Init(int canport, int chargeaddress, int devtype, int upaddress);

    // Each stores the one value and nothing else. Always 0.
    int Pack_SetCanPort(int value);
    int Pack_SetChargeAddress(int value);
    int Pack_SetDevType(int value);
    int Pack_SetUpAddress(int value);

    /// Builds the identifier of the data frames from the charge address (its low 8 bits) and prints it.
    /// Always 0.
    int Pack_BuildCanid();

    /// Reads the first `size` bytes of the image into `buffer`. 0, or -1 when the file cannot be opened or
    /// gives fewer bytes, which is reported on standard error.
    int Pack_ReadFileToCache(unsigned char* buffer, unsigned long size, const char* path);

    /// Reads the image, fills the job record, inserts the job's row and appends the groups to the cache, the
    /// last one filled up with 0xFF. A PackResult. On failure the reason is printed (except for an empty
    /// image and for want of memory) and neither row nor cache changes. A row that cannot be written is
    /// reported only. Holds the image twice for a moment only: pages of the first copy are given back as its
    /// groups are made.
    int Pack_RuningV2(const char* path, s_history* history, std::list<s_addnode>* cache);
    /// Appends group `index` with its `length` bytes, packets and checksums to the cache. Always 0. Nothing
    /// goes to the database here.
    int Pack_WriteDataToDBV2(std::list<s_addnode>* cache, int index, const unsigned char* data, int length);

    /// Reads the image and stages it as rows: the job, then every group with its packets, the last group as
    /// short as the image leaves it. Prints how long it took, which is `timeuse` from then on. Both checksums
    /// of the job are over the exact image, so an image whose size is no multiple of 4 has no CRC A. The
    /// results of `Pack_RuningV2`; rows that cannot be written are reported only, so a job may be staged in
    /// part.
    int Pack_Runing(const char* path);
    /// Stages group `index` with its `length` bytes: one row for it, one statement for the rows of its
    /// packets. 0, or -1 when the packets cannot be written, which is reported; the group's row is not looked
    /// at.
    int Pack_WriteDataToDB(int index, const unsigned char* data, int length);
    /// Takes the image's size. 0; -1 when it is empty or cannot be examined.
    int Pack_GetUpFileSize(const char* path);
    /// Takes the time and inserts an open job of that name with the object's bus values, size and checksums,
    /// after printing the statement. 0, or -1 when the row cannot be written. A name of 128 characters or
    /// more stays empty.
    int Pack_WriteHistoryToDB(const char* name);

    int Pack_GetFileSize() const { return filesize; }
    unsigned int Pack_GetcrcA() const { return crcA; }
    unsigned int Pack_GetcrcB() const { return crcB; }

    int timestamp = 0;       ///< time of packing, seconds since the epoch; the job's key
    int chargeaddress = 0;   ///< the device's bus address
    int canport = 0;         ///< data byte 0 of every packet
    int devtype = 0;         ///< data byte 1 of every packet
    int upaddress = 0;       ///< data byte 2 of every packet
    int groupsize = 0;       ///< bytes per group
    unsigned int canid = 0;  ///< 29-bit identifier of the data frames
    int filesize = 0;        ///< image size in bytes
    unsigned int crcA = 0;   ///< CRC A of the image, padded to whole groups
    unsigned int crcB = 0;   ///< CRC B of the image, exact size
    int timeuse = 0;         ///< milliseconds spent staging rows
    timeval starttime{};     ///< start of that stretch
    timeval endtime{};       ///< its end

  private:
    /// Opens the image, takes its size and reads it, with padding to whole groups if asked for. The results
    /// of `Pack_RuningV2`.
    [[nodiscard]] int ReadWhole(const char* path, bool padded, velmorin::ImageBuffer* bytes);
    void FillHistory(const char* path, s_history* history);
    void FillGroup(int index, const unsigned char* data, int length, s_addnode* group) const;
    s_datanode MakePacket(int index, const unsigned char* bytes, int length) const;
};
