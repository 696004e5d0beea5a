// Images of awkward sizes and images that are none.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <list>
#include <string>

#include "Packdata.h"
#include "benchdir.h"
#include "sqlrows.h"
#include "tool.h"

namespace {

class Packing : public testing::Test {
  protected:
    /// Packs for port 1, device e0, type 10, update address 20; returns the packer's code.
    int Pack(const std::string& path) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        packer.Pack_Init(1, 0xE0, 0x10, 0x20);
        const int result = packer.Pack_RuningV2(path.c_str(), &history, &cache);
        printed = testing::internal::GetCapturedStdout();
        complained = testing::internal::GetCapturedStderr();
        return result;
    }

    std::string Payload() const {
        std::string bytes;
        for (const s_addnode& group : cache) {
            for (const s_datanode& packet : group.dataqueue) {
                bytes.append(reinterpret_cast<const char*>(packet.frame.data) + 4, packet.frame.can_dlc - 4U);
            }
        }
        return bytes;
    }

    static const unsigned char* U(const std::string& text) {
        return reinterpret_cast<const unsigned char*>(text.data());
    }

    BenchDir bench;
    PackData packer;
    s_history history{};
    std::list<s_addnode> cache;
    std::string printed, complained;
};

TEST_F(Packing, EverySizeBecomesWholeGroupsFilledWithFf) {
    for (const std::size_t size : {1U, 3U, 4U, 1023U, 1024U, 1025U, 2050U, 200000U}) {
        cache.clear();
        history = {};
        const std::string image = TestImage(size);
        ASSERT_EQ(Pack(bench.Write("image", image)), 0) << size;
        const std::size_t groups = (size + 1023) / 1024;
        const std::string padded = image + std::string(groups * 1024 - size, '\xFF');
        EXPECT_TRUE(Payload() == padded) << size;
        ASSERT_EQ(cache.size(), groups);
        EXPECT_EQ(history.filesize, static_cast<int>(size));
        EXPECT_EQ(history.crcA, tool::crc32_planA(U(padded), padded.size()));
        EXPECT_EQ(history.crcB, tool::crc32_planB(U(image), static_cast<unsigned int>(size)));
        EXPECT_EQ(packer.Pack_GetcrcA(), history.crcA);
        EXPECT_EQ(packer.Pack_GetcrcB(), history.crcB);
        unsigned int index = 0;
        for (const s_addnode& group : cache) {
            EXPECT_EQ(group.address, 1024 * (index + 1));
            EXPECT_EQ(group.count, 256);
            EXPECT_EQ(group.crc32A, tool::crc32_planA(U(padded) + 1024UL * index, 1024));
            EXPECT_EQ(group.crc32B, tool::crc32_planB(U(padded) + 1024UL * index, 1024));
            ++index;
        }
        EXPECT_EQ(printed, "CAN ID:1079e08a\nsend file size:" + std::to_string(size) + "\nloop//loop-1:" +
                               std::to_string(groups) + " dataleave:" + std::to_string(size % 1024) + "\n");
        EXPECT_EQ(complained, "");
    }
}

TEST_F(Packing, PacketsAreFinishedFrames) {
    ASSERT_EQ(Pack(bench.Write("image", "abcdefgh")), 0);
    const s_addnode& group = cache.front();
    EXPECT_EQ(group.state, 0);
    EXPECT_EQ(group.addrstate, -1);
    EXPECT_EQ(group.canid, 0x1079E08AU);
    EXPECT_EQ(group.savestamp, history.timestamp);
    const s_datanode& second = group.dataqueue[1];
    EXPECT_EQ(second.dataid, 1);
    EXPECT_EQ(second.savestamp, history.timestamp);
    EXPECT_EQ(second.frame.can_id, 0x9079E08AU);
    EXPECT_EQ(second.frame.can_dlc, 8);
    EXPECT_EQ(0, std::memcmp(second.frame.data,
                             "\x01\x10\x20\x01"
                             "efgh",
                             8));
    EXPECT_EQ(group.dataqueue[255].frame.data[3], 0xFF);
}

TEST_F(Packing, ShortLastPacketsOfAGroupCarryTheirBytesOnly) {
    testing::internal::CaptureStdout();
    packer.Pack_Init(1, 0x01, 0x10, 0x20);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "CAN ID:1079018a\n");
    EXPECT_EQ(packer.Pack_WriteDataToDBV2(&cache, 2, U("abcdef"), 6), 0);
    const s_addnode& group = cache.front();
    EXPECT_EQ(group.address, 3072U);
    EXPECT_EQ(group.count, 2);
    EXPECT_EQ(group.crc32A, 0xFFFFFFFFU);
    EXPECT_EQ(group.dataqueue[1].frame.can_dlc, 6);
    EXPECT_EQ(0, std::memcmp(group.dataqueue[1].frame.data,
                             "\x01\x10\x20\x01"
                             "ef\0\0",
                             8));
}

TEST_F(Packing, WhatIsNoImageIsRefusedByNameAndLosesNothing) {
    const std::string big = bench.Write("big", "");
    ASSERT_EQ(truncate(big.c_str(), 2147483648L), 0);
    const std::string missing = (bench.Root() / "missing").string();
    const std::string folder = bench.Root().string();
    const std::string cases[][3] = {
        {missing, "-1", "file:: No such file or directory\n"},
        {bench.Write("empty", ""), "-1", ""},
        {folder, "-3", "image " + folder + ": not a regular file\n"},
        {"/dev/zero", "-1", "image /dev/zero: not a regular file\n"},
        {big, "-1", "file:: File too large\nimage " + big + ": 2 GiB or more\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(std::to_string(Pack(c[0])), c[1]) << c[0];
        EXPECT_EQ(complained, c[2]);
        EXPECT_EQ(printed, "CAN ID:1079e08a\n");
        EXPECT_TRUE(cache.empty());
        EXPECT_EQ(history.timestamp, 0);
    }
    EXPECT_TRUE(SqlRows(bench.StagingFile(), "SELECT * FROM tag_history").empty());
}

TEST_F(Packing, ShortReadIsAnError) {
    unsigned char buffer[16];
    const std::string path = bench.Write("image", "12345");
    testing::internal::CaptureStderr();
    EXPECT_EQ(packer.Pack_ReadFileToCache(buffer, 6, path.c_str()), -1);
    EXPECT_EQ(packer.Pack_ReadFileToCache(buffer, 5, path.c_str()), 0);
    EXPECT_EQ(packer.Pack_ReadFileToCache(buffer, 5, "/no/such"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "image " + path + ": shorter than its size\nimage /no/such: No such file or directory\n");
}

TEST_F(Packing, UnwritableStagingFolderStopsNothing) {
    std::filesystem::remove_all(bench.Root() / "mnt/nandflash/app");
    EXPECT_EQ(Pack(bench.Write("image", TestImage(1024))), 0);
    EXPECT_EQ(cache.size(), 1U);
    EXPECT_EQ(complained,
              "Can't open database: unable to open database file\n"
              "Can't open database: unable to open database file\n");
}

}  // namespace
