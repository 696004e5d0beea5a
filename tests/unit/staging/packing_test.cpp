// An image as rows of the staging file, and back.
#include <algorithm>
#include <cstring>

#include "staging_support.h"

namespace {

class Staging : public StagingFixture {};

TEST_F(Staging, ShortImagesBecomeExactRows) {
    // Zero bytes but for the last two, so that every row can be written by hand.
    ASSERT_EQ(Stage(std::string(2048, '\0') + "\xAB\xCD"), 0);
    const std::string stamp = std::to_string(packer.timestamp);
    EXPECT_EQ(Sql("SELECT * FROM tag_infor"), (Rows{
                                                  "1|0|00000400|1079e08a|256|8b0a5208|efb5af2e|" + stamp,
                                                  "2|0|00000800|1079e08a|256|8b0a5208|efb5af2e|" + stamp,
                                                  "3|0|00000c00|1079e08a|1|ffffffff|e9ffc9d0|" + stamp,
                                              }));
    EXPECT_EQ(Sql("SELECT count(*), min(id), max(id) FROM tag_data"), Rows{"513|1|513"});
    EXPECT_EQ(Sql("SELECT * FROM tag_data WHERE id IN (1, 256, 257, 512, 513)"),
              (Rows{
                  "1|0|00000400|1079e08a|0|8|0110200000000000|" + stamp,
                  "256|0|00000400|1079e08a|255|8|011020ff00000000|" + stamp,
                  "257|0|00000800|1079e08a|0|8|0110200000000000|" + stamp,
                  "512|0|00000800|1079e08a|255|8|011020ff00000000|" + stamp,
                  "513|0|00000c00|1079e08a|0|6|01102000abcd0000|" + stamp,
              }));
    EXPECT_EQ(
        Sql("SELECT state,chargeaddress,caninterface,devtype,updateaddress,filesize,result,timeuse,crcA,"
            "timestamp FROM tag_history"),
        Rows{"0|e0|1|16|20|2050|-1|0|ffffffff|" + stamp});
    EXPECT_EQ(printed.out, "CAN ID:1079e08a\nsend file size:2050\nsave data to db use time: " +
                               std::to_string(packer.timeuse) + " ms\n");
    EXPECT_EQ(printed.err, "");
}

TEST_F(Staging, OnlySizesThatAreMultiplesOf4HaveACrcA) {
    const struct {
        std::size_t size;
        const char* job;
        const char* last_group;
        const char* packets;
    } cases[] = {
        // All zero; a checksum of ffffffff stands for none.
        {1, "ffffffff", "ffffffff", "1|5"},      {3, "ffffffff", "ffffffff", "1|7"},
        {4, "c704dd7b", "c704dd7b", "1|8"},      {1024, "8b0a5208", "8b0a5208", "256|8"},
        {1025, "ffffffff", "ffffffff", "257|5"}, {1028, "e5e2aea7", "c704dd7b", "257|8"},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(bench.StagingFile());
        ASSERT_EQ(Stage(std::string(c.size, '\0')), 0);
        EXPECT_EQ(Sql("SELECT crcA FROM tag_history"), Rows{c.job}) << c.size;
        EXPECT_EQ(Sql("SELECT crc32A FROM tag_infor ORDER BY id DESC LIMIT 1"), Rows{c.last_group}) << c.size;
        EXPECT_EQ(Sql("SELECT id,datalen FROM tag_data ORDER BY id DESC LIMIT 1"), Rows{c.packets}) << c.size;
    }
}

TEST_F(Staging, BusValuesGoIntoTheDataTextAsTheirLowBytes) {
    PrintedBy([&] {
        packer.Pack_Init(0x101, 0xE0, -1, 0x12345);
        packer.timestamp = 7;
        EXPECT_EQ(packer.Pack_WriteDataToDB(0, reinterpret_cast<const unsigned char*>("abcdef"), 6), 0);
    });
    EXPECT_EQ(Sql("SELECT data FROM tag_data"), (Rows{"01ff450061626364", "01ff450165660000"}));
}

TEST_F(Staging, GroupWithoutBytesIsAFailedInsert) {
    for (const int length : {0, -5}) {
        printed = PrintedBy([&] {
            packer.Pack_Init(1, 0xE0, 0x10, 0x20);
            EXPECT_EQ(packer.Pack_WriteDataToDB(0, reinterpret_cast<const unsigned char*>(""), length), -1);
        });
        EXPECT_EQ(printed.err, "insert database error!: incomplete input\n");
    }
}

TEST_F(Staging, WhatIsNoImageStagesNothing) {
    EXPECT_EQ(Stage(""), -1);
    EXPECT_EQ(printed.out, "CAN ID:1079e08a\n");
    PrintedBy([&] {
        EXPECT_EQ(packer.Pack_Runing("/no/such/image"), -1);
        EXPECT_EQ(packer.Pack_Runing(bench.Root().c_str()), -3);
        EXPECT_EQ(packer.Pack_GetUpFileSize("/no/such/image"), -1);
    });
    EXPECT_EQ(packer.filesize, 0);
    EXPECT_EQ(Sql("SELECT * FROM tag_history"), Rows{});
    EXPECT_EQ(Sql("SELECT * FROM tag_infor"), Rows{});

    EXPECT_EQ(packer.Pack_GetUpFileSize(bench.Write("image", "12345").c_str()), 0);
    EXPECT_EQ(packer.filesize, 5);
}

TEST_F(Staging, ImageComesBackByteForByte) {
    std::mt19937 random(Seed());
    for (int round = 0; round < 12; ++round) {
        const std::size_t size = 1 + random() % (round < 8 ? 5000 : 40000);
        std::string image(size, '\0');
        std::ranges::generate(image, [&] { return static_cast<char>(random()); });
        ASSERT_EQ(Stage(image), 0);
        LoadStaged();
        EXPECT_EQ(history.filesize, static_cast<int>(size));
        EXPECT_TRUE(Payload() == image) << size << " bytes";
        PrintedBy([&] { loader.Load_SynDatabases(0); });
        loader.Load_CacheClean(&cache);
        EXPECT_TRUE(cache.empty());
    }
    EXPECT_EQ(Sql("SELECT count(*), sum(state), sum(result) FROM tag_history"), Rows{"12|12|0"});
    EXPECT_EQ(Sql("SELECT (SELECT count(*) FROM tag_infor), (SELECT count(*) FROM tag_data)"), Rows{"0|0"});
}

TEST_F(Staging, StagedGroupsAreTheLiveOnesButForTheLastShortOne) {
    for (const std::size_t size : {2048U, 3001U}) {
        std::filesystem::remove(bench.StagingFile());
        const std::string image = TestImage(size);
        ASSERT_EQ(Stage(image), 0);
        cache.clear();
        LoadStaged();
        s_history live_history{};
        std::list<s_addnode> live;
        PackData live_packer;
        PrintedBy([&] {
            live_packer.Pack_Init(1, 0xE0, 0x10, 0x20);
            live_packer.Pack_RuningV2((bench.Root() / "image").c_str(), &live_history, &live);
        });
        ASSERT_EQ(cache.size(), live.size());
        EXPECT_EQ(packer.crcB, live_packer.crcB);
        std::size_t start = 0;
        for (auto staged = cache.begin(), same = live.begin(); staged != cache.end(); ++staged, ++same) {
            const std::size_t length = std::min<std::size_t>(1024, size - start);
            EXPECT_EQ(std::tuple(staged->state, staged->addrstate, staged->sendcount, staged->address,
                                 staged->canid),
                      std::tuple(same->state, same->addrstate, same->sendcount, same->address, same->canid));
            EXPECT_EQ(staged->crc32B == same->crc32B && staged->crc32A == same->crc32A, length == 1024);
            ASSERT_EQ(staged->dataqueue.size(), (length + 3) / 4);
            for (std::size_t k = 0; k < length / 4; ++k) {
                EXPECT_EQ(staged->dataqueue[k].dataid, static_cast<int>(k));
                EXPECT_EQ(0, std::memcmp(&staged->dataqueue[k].frame, &same->dataqueue[k].frame,
                                         sizeof(can_frame)));
            }
            start += length;
        }
    }
    const can_frame& last = cache.back().dataqueue.back().frame;
    EXPECT_EQ(std::tuple(last.can_id, last.can_dlc, last.data[3]), std::tuple(0x9079E08AU, 5, 238));
}

TEST_F(Staging, LoneJobRowHasItsValuesInTheirColumns) {
    PrintedBy([&] { packer.Pack_Init(2, 0xE1, 0x10, 0x2A); });
    packer.filesize = 12;
    packer.crcA = 0xA;
    packer.crcB = 0xB;
    const std::string name = "it's " + std::string(122, 'x');  // as long as names are kept
    printed = PrintedBy([&] { EXPECT_EQ(packer.Pack_WriteHistoryToDB(name.c_str()), 0); });
    EXPECT_EQ(printed.out, "Pack_WriteHistoryToDB cmd:\nINSERT INTO tag_history VALUES(NULL,0,'it''s " +
                               std::string(122, 'x') + "','e1',2,16,'2a',12,-1,0,'0000000a','0000000b'," +
                               std::to_string(packer.timestamp) + ")\n");
    EXPECT_EQ(
        Sql("SELECT * FROM tag_history"),
        Rows{"1|0|" + name + "|e1|2|16|2a|12|-1|0|0000000a|0000000b|" + std::to_string(packer.timestamp)});
}

TEST_F(Staging, FaultsAreReportedPerStatementAndTheRestIsStaged) {
    ASSERT_EQ(Stage(std::string(1025, 'x')), 0);
    Sql("DROP TABLE tag_infor");
    ASSERT_EQ(Stage(std::string(1025, 'x')), 0);
    EXPECT_EQ(printed.err,
              "insert database error!: no such table: tag_infor\n"
              "insert database error!: no such table: tag_infor\n");
    EXPECT_EQ(Sql("SELECT count(*) FROM tag_data"), Rows{"514"});
}

}  // namespace
