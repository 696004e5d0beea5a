// The records of the send cache: one job, its groups, their packets, and a group's payload put
// together again. Plain values without behaviour; all integers are 32 bits wide.
#pragma once

#include <linux/can.h>

#include <deque>
#include <list>

/// One update job; mirrors a row of `tag_history`.
struct s_history {
    char name[128]{};       ///< image path, NUL-terminated; empty when it has 128 characters or more
    int state = 0;          ///< 0 while the job is open
    int chargeaddress = 0;  ///< device address on the bus, 0 to 255
    int caninterface = 0;   ///< CAN port number
    int devtype = 0;        ///< device type, 0 to 255
    int updateaddress = 0;  ///< update address, 0 to 255
    int filesize = 0;       ///< image size in bytes, exact
    int timestamp = 0;      ///< time of packing, seconds since the epoch; identifies the job everywhere
    int timeuse = 0;        ///< milliseconds the job took; 0 until it ended
    unsigned int crcA = 0;  ///< CRC A of the image (padded to whole groups on the live path)
    unsigned int crcB = 0;  ///< CRC B of the image, exact size
};
static_assert(sizeof(s_history) == 168);

/// One packet: a finished CAN data frame with up to four image bytes; mirrors a row of `tag_data`.
struct s_datanode {
    int state = 0;      ///< always 0
    int dataid = 0;     ///< index within the group, from 0; entry n of a queue has dataid n
    int savestamp = 0;  ///< the job's timestamp
    can_frame frame{};  ///< as it goes onto the bus: port, type, update address, index, image bytes
};
static_assert(sizeof(s_datanode) == 32);

/// One group: 1024 image bytes with their checksums; mirrors a row of `tag_infor`.
struct s_addnode {
    int state = 0;             ///< 1 once the device confirmed the group's checksum, else 0
    int addrstate = 0;         ///< 1 once the device gave the group its address, else -1
    int sendcount = 0;         ///< how often the group has been started
    unsigned int address = 0;  ///< the key of the group; 1024 × (index + 1) until the device names another
    unsigned int canid = 0;    ///< 29-bit identifier of its frames, without the extended-frame flag
    int count = 0;             ///< packets that dataqueue held when it was filled
    int savestamp = 0;         ///< the job's timestamp
    unsigned int crc32A = 0;   ///< CRC A over the group's bytes
    unsigned int crc32B = 0;   ///< CRC B over the group's bytes
    std::deque<s_datanode> dataqueue;  ///< the packets in index order; emptied when the group is confirmed
};

/// The payload of one group put together again, for the self-check of the cache loader.
struct s_savenode {
    int packcount = 0;           ///< packets appended so far
    int datasize = 0;            ///< payload bytes appended so far
    unsigned char data[1040]{};  ///< the payload of packet i lies at 4 × i
};
static_assert(sizeof(s_savenode) == 1048);
