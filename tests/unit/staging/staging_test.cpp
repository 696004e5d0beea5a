// An image as rows of the staging file, and a send cache from rows, good and damaged.
#include <tuple>

#include "staging_support.h"

using namespace velmorin;

namespace {

class Staging : public StagingFixture {
  protected:
    Staging() { MakeStagingFile(); }

    /// A job 7 with one group at 1024 whose packets have these values of dataid, datalen and data.
    void Write(const std::string& packets) const {
        Sql("DELETE FROM tag_history; DELETE FROM tag_infor; DELETE FROM tag_data;"
            "INSERT INTO tag_history VALUES(NULL,0,'','e0',1,16,'20',8,-1,0,'','',7);"
            "INSERT INTO tag_infor VALUES(NULL,0,'00000400','1079e08a',1,'8b','0102030405',7);"
            "INSERT INTO tag_data(address,savestamp,dataid,datalen,data) SELECT '00000400',7,* FROM (VALUES" +
            packets + ")");
    }
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

    packer.crcA = 0xA;
    packer.crcB = 0x2D89C53E;
    Capture([&] { EXPECT_EQ(packer.Pack_WriteHistoryToDB("it's"), 0); });
    EXPECT_EQ(out,
              "Pack_WriteHistoryToDB cmd:\nINSERT INTO tag_history VALUES(NULL,0,'it''s','e0',1,16,'20',"
              "1026,-1,0,'0000000a','2d89c53e'," +
                  std::to_string(packer.timestamp) + ")\n");
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
        Capture([&] { loader.Load_SynDatabases(0); });
        loader.Load_CacheClean(&cache);
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

TEST_F(Staging, PacketsComeAsTheyStandAndInTheOrderOfInsertion) {
    Write("(0,8,'0110204142434445'),(9,6,'0110204142430000'),(1,264,'01'),(-3,255,'012'),(2,8,NULL),(4,8,'" +
          std::string(300, '7') + "')");
    Sql("UPDATE tag_data SET canid='00000001'");
    std::deque<s_datanode> queue;
    Capture([&] { EXPECT_EQ(db().DB_GetData(&queue, 1024, 0x1079E08A, 7, kStagingFile, nullptr), 0); });
    Rows packets;
    for (const s_datanode& packet : queue) {
        EXPECT_EQ(std::pair(packet.frame.can_id, packet.savestamp), std::pair(0x9079E08AU, 7));
        const auto* data = reinterpret_cast<const char*>(packet.frame.data);
        packets.push_back(std::to_string(packet.dataid) + " " + std::to_string(packet.frame.can_dlc) + " " +
                          std::string(data, 8));
    }
    const std::string zeros(8, '\0');
    EXPECT_EQ(packets, (Rows{"0 8 \1\x10 ABCDE", "9 6 \1\x10 ABC" + zeros.substr(6),
                             "1 8 \1" + zeros.substr(1), "-3 255 " + zeros, "2 8 " + zeros, "4 8 wwwwwwww"}));
}

TEST_F(Staging, SelfCheckSkipsDamagedPacketsAndKeepsThoseAroundThem) {
    std::string too_many = "(2,8,'0110200249494949')";
    for (int i = 0; i < 300; ++i) too_many += ",(2,8,'0110200249494949')";
    const std::pair<std::string, std::string> cases[] = {
        {"(0,8,'0110200041424344'),(260,8,'0110200458585858'),(2147483647,8,'01102004'),"
         "(-1,8,'0110200458585858'),(5,3,'0110200458585858'),(5,9,'0110200458585858'),(1,6,'0110200145460000'"
         ")",
         "ABCDEF"},
        {"(259,8,'0110200357585950')", std::string(4, '\0')},  // as many bytes as came, from the front
        {too_many, std::string(8, '\0') + "IIII" + std::string(1028, '\0')},
    };
    for (const auto& [packets, payload] : cases) {
        Write(packets);
        cache.clear();
        LoadStaged();
        EXPECT_TRUE(Payload() == payload) << packets.substr(0, 80);
        EXPECT_EQ(out, "countnum:" + std::to_string(payload.size()) + "\nnsave:1\n");
    }
}

TEST_F(Staging, GroupsOfTheCacheBeforeGetTheirOwnPackets) {
    Write("(0,8,'0110200041424344')");  // the group's checksums have too few digits and too many
    Sql("INSERT INTO tag_data(address,savestamp,dataid,datalen,data) "
        "VALUES('00000400',8,0,8,'0110200045464748')");
    s_addnode& before = cache.emplace_back();
    before.address = 0x400;
    before.savestamp = 8;
    LoadStaged();
    EXPECT_EQ(out,
              "mstamp:7\nindex:0,state:0 crcA:00000000 crcB:00000000\n"
              "index:1,state:0 crcA:8b000000 crcB:01020304\n");
    EXPECT_EQ(Payload(), "EFGHABCD");

    std::list<s_savenode> nodes(2);  // of sizes that no group has
    nodes.front().datasize = 2000;
    nodes.back().datasize = -4;
    const std::string path = bench.Root() / "payload";
    Capture([&] {
        for (const char* file : {path.c_str(), "/no/such/folder", "/dev/full"})
            EXPECT_EQ(loader.Load_Save(&nodes, file), 0);
    });
    EXPECT_EQ(std::filesystem::file_size(path), 8U + 1040U);
    EXPECT_EQ(err, "/no/such/folder: No such file or directory\n/dev/full: No space left on device\n");
}

TEST_F(Staging, ReadersSayWhatIsWrongWithTheFile) {
    const auto sum_of_results = [&](const char* key) {
        std::deque<s_datanode> queue;
        int sum = 0;
        Capture([&] {
            sum += db().DB_GetHistory(&history, kStagingFile, key);
            sum += db().DB_GetInfor(7, &cache, kStagingFile, key);
            sum += db().DB_GetData(&queue, 1024, 1, 7, kStagingFile, key);
        });
        return sum;
    };
    EXPECT_EQ(sum_of_results("key"), -3);
    EXPECT_EQ(err,
              "Error: 164 sqlite3_key Fail.\nError: 280 sqlite3_key Fail.\nError: 415 sqlite3_key Fail.\n");
    {
        const Held held(bench.StagingFile());
        EXPECT_EQ(sum_of_results(nullptr), 0);
        EXPECT_EQ(out, "sqlite3 get table failed error code: 5\nsqlite3 get table failed error code: 5\n");
    }
    std::filesystem::remove(bench.StagingFile());
    EXPECT_EQ(sum_of_results(nullptr), -3);
    EXPECT_EQ(out, "config db is not exit!\nconfig db is not exit!\nconfig db is not exit!\n");
    Capture([] { EXPECT_EQ(db().DB_CreateTable(kStagingFile, "key"), -1); });
    EXPECT_EQ(err, "Error: 61 sqlite3_key Fail.\n");
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));
}

}  // namespace
