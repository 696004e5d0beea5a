// An image as rows of the staging file, and a send cache from rows, good and damaged.
#include <tuple>

#include "staging_support.h"

using namespace velmorin;

namespace {

class Staging : public StagingFixture {
  protected:
    Staging() { MakeStagingFile(); }
};

TEST_F(Staging, ShortImagesBecomeExactRows) {
    // Zero bytes but for the last two, so that every row can be written by hand.
    ASSERT_EQ(Stage(std::string(1024, '\0') + "\xAB\xCD"), 0);
    const std::string stamp = "|" + std::to_string(packer.timestamp);
    EXPECT_EQ(Sql("SELECT * FROM tag_infor"), (Rows{"1|0|00000400|1079e08a|256|8b0a5208|efb5af2e" + stamp,
                                                    "2|0|00000800|1079e08a|1|ffffffff|e9ffc9d0" + stamp}));
    EXPECT_EQ(Sql("SELECT * FROM tag_data WHERE id IN (1, 256, 257)"),
              (Rows{"1|0|00000400|1079e08a|0|8|0110200000000000" + stamp,
                    "256|0|00000400|1079e08a|255|8|011020ff00000000" + stamp,
                    "257|0|00000800|1079e08a|0|6|01102000abcd0000" + stamp}));
    EXPECT_EQ(Sql("SELECT state,chargeaddress,caninterface,devtype,updateaddress,filesize,result,timeuse "
                  "FROM tag_history"),
              Rows{"0|e0|1|16|20|1026|-1|0"});
    EXPECT_EQ(out, "CAN ID:1079e08a\nsend file size:1026\nsave data to db use time: " +
                       std::to_string(packer.timeuse) + " ms\n");
}

TEST_F(Staging, FaultsStopNothing) {
    EXPECT_EQ(Stage(""), -1);
    Capture([&] { EXPECT_EQ(packer.Pack_Runing(bench.Root().c_str()), -3); });
    EXPECT_EQ(Sql("SELECT id FROM tag_history UNION ALL SELECT id FROM tag_infor"), Rows{});
    const auto* nothing = reinterpret_cast<const unsigned char*>("");
    Capture([&] { EXPECT_EQ(packer.Pack_WriteDataToDB(0, nothing, 0), -1); });
    EXPECT_EQ(err, "insert database error!: incomplete input\n");
    const std::string no_table = "insert database error!: no such table: tag_infor\n";
    Sql("DROP TABLE tag_infor");
    EXPECT_EQ(Stage(std::string(1025, 'x')), 0);
    EXPECT_EQ(err, no_table + no_table);
    EXPECT_EQ(Sql("SELECT count(*) FROM tag_data"), Rows{"257"});
}

TEST_F(Staging, ImageComesBackByteForByte) {
    for (const std::size_t size : {1U, 1023U, 1024U, 2050U}) {
        const std::string image = TestImage(size);
        ASSERT_EQ(Stage(image), 0);
        LoadStaged();
        EXPECT_TRUE(Payload() == image) << size;
        Capture([&] { EXPECT_EQ(loader.Load_SynDatabases(0), 0); });
        EXPECT_EQ(loader.Load_CacheClean(&cache), 0);
    }
    EXPECT_EQ(Sql("SELECT count(*), sum(state), sum(result) FROM tag_history"), Rows{"4|4|0"});
    EXPECT_EQ(Sql("SELECT savestamp FROM tag_infor UNION ALL SELECT savestamp FROM tag_data"), Rows{});
}

TEST_F(Staging, FirstOpenJobIsTheOne) {
    Sql("INSERT INTO tag_history VALUES"
        "(NULL,1,'done','e0',1,16,'20',1,0,5,'','',1),(NULL,0,'odd','e0',1,16,'20',1,3,5,'','',2),"
        "(NULL,0,'first','e1',2,17,'2a',2050,-1,9,'0000000a','0000000b',3),"
        "(NULL,0,'second','e0',1,16,'20',1,-1,0,'','',4)");
    history = {"left", 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    LoadStaged();
    EXPECT_EQ(out, "mstamp:3\n");
    EXPECT_EQ(std::tuple(history.state, history.chargeaddress, history.caninterface, history.devtype,
                         history.updateaddress, history.filesize, history.timestamp),
              std::tuple(0, 0xE1, 2, 17, 0x2A, 2050, 3));
    // These are not read.
    EXPECT_EQ(std::tuple(history.name[0], history.timeuse, history.crcA, history.crcB),
              std::tuple('\0', 0, 0U, 0U));
    Capture([&] { loader.Load_SynDatabases(5); });
    EXPECT_EQ(Sql("SELECT timestamp,state,result FROM tag_history"),
              (Rows{"1|1|0", "2|0|3", "3|1|5", "4|0|-1"}));
}

TEST_F(Staging, PacketsComeAsTheyStandAndTheSelfCheckSkipsDamagedOnes) {
    // The group's checksums have too few digits and too many.
    Sql("INSERT INTO tag_history VALUES(NULL,0,'','e0',1,16,'20',8,-1,0,'','',7);"
        "INSERT INTO tag_infor VALUES(NULL,0,'00000400','1079e08a',1,'8b','0102030405',7);"
        "INSERT INTO tag_data(address,savestamp,dataid,datalen,data) SELECT '00000400',* FROM (VALUES"
        "(7,0,8,'0110204142434445'),(7,1,264,'01'),(7,-3,8,'012'),(7,1,6,'0110204146470000'),(7,2,8,NULL),"
        "(7,2,3,''),(7,2,9,''),(7,260,8,'77777777777777777777'),(8,0,8,'0110204130303030'))");
    s_addnode& before = cache.emplace_back();  // gets its own packets
    before.address = 0x400;
    before.savestamp = 8;
    LoadStaged();
    EXPECT_EQ(out,
              "mstamp:7\nindex:0,state:0 crcA:00000000 crcB:00000000\n"
              "index:1,state:0 crcA:8b000000 crcB:01020304\nerror\n");
    Rows packets;
    for (const s_datanode& packet : cache.back().dataqueue) {
        EXPECT_EQ(packet.frame.can_id, 0x9079E08AU);
        packets.push_back(std::to_string(packet.dataid) + " " + std::to_string(packet.frame.can_dlc) + " " +
                          std::string(reinterpret_cast<const char*>(packet.frame.data), 8));
    }
    const std::string zeros(8, '\0');
    EXPECT_EQ(packets, (Rows{"0 8 \1\x10 ABCDE", "1 8 \1" + zeros.substr(1), "-3 8 " + zeros,
                             "1 6 \1\x10 AFG" + zeros.substr(6), "2 8 " + zeros, "2 3 " + zeros,
                             "2 9 " + zeros, "260 8 wwwwwwww"}));
    EXPECT_EQ(Payload(), "0000BCDEFG" + zeros);
    EXPECT_EQ(out, "countnum:18\nnsave:2\n");
    for (int i = 0; i < 300; ++i) cache.back().dataqueue.push_back({0, 259, 7, {0, {8}, 0, 0, 0, {}}});
    Payload();
    EXPECT_EQ(out, "countnum:1040\nnsave:2\n") << "a group has no room for more";
    Capture([&] { loader.Load_UnitTest(&cache, "/no/such"); });
    EXPECT_EQ(err, "/no/such: No such file or directory\n");
}

TEST_F(Staging, ReadersSayWhatIsWrongWithTheFileAndLeaveTheirOutputs) {
    Capture([&] {
        db().DB_GetHistory(&history, kStagingFile, "key"), db().DB_GetInfor(7, &cache, kStagingFile, "key");
        db().DB_GetData(nullptr, 1024, 1, 7, kStagingFile, "key");
    });
    EXPECT_EQ(err,
              "Error: 164 sqlite3_key Fail.\nError: 280 sqlite3_key Fail.\nError: 415 sqlite3_key Fail.\n");
    history.timestamp = 55;
    cache.resize(1);
    const std::string failed = "sqlite3 get table failed error code: 1\n", none = "config db is not exit!\n";
    const std::string group = "index:0,state:0 crcA:00000000 crcB:00000000\n";
    Sql("DROP TABLE tag_history; DROP TABLE tag_infor; DROP TABLE tag_data");
    LoadStaged();
    EXPECT_EQ(out, "mstamp:55\n" + failed + group + failed);
    std::filesystem::remove(bench.StagingFile());
    LoadStaged();
    EXPECT_EQ(out, none + "mstamp:55\n" + none + group + none);
}

}  // namespace
