// A send cache from rows, good and damaged; the self-check; the job's end.
#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <tuple>

#include "staging_support.h"

namespace {

class Loading : public StagingFixture {
  protected:
    Loading() {
        printed = PrintedBy([&] { packer.Pack_Init(1, 0xE0, 0x10, 0x20); });
    }

    /// A job 7 with one group at 1024 whose packets have these values of dataid, datalen and data.
    void Write(const std::string& packets) const {
        Sql("DELETE FROM tag_history; DELETE FROM tag_infor; DELETE FROM tag_data;"
            "INSERT INTO tag_history VALUES(NULL,0,'','e0',1,16,'20',8,-1,0,'','',7);"
            "INSERT INTO tag_infor VALUES(NULL,0,'00000400','1079e08a',1,'','',7)");
        if (packets.empty()) return;
        Sql("INSERT INTO tag_data(address,savestamp,dataid,datalen,data) SELECT '00000400',7,* FROM (VALUES" +
            packets + ")");
    }
};

TEST_F(Loading, FirstOpenJobIsTheOne) {
    Sql("INSERT INTO tag_history VALUES"
        "(NULL,1,'done','e0',1,16,'20',1,0,5,'','',1),(NULL,0,'odd','e0',1,16,'20',1,3,5,'','',2),"
        "(NULL,0,'first','e1',2,17,'2a',2050,-1,9,'0000000a','0000000b',3),"
        "(NULL,0,'second','e0',1,16,'20',1,-1,0,'','',4)");
    std::memset(&history, 0x55, sizeof history);
    LoadStaged();
    EXPECT_EQ(printed.out, "mstamp:3\n");
    EXPECT_EQ(loader.mstamp, 3);
    EXPECT_EQ(std::tuple(history.state, history.chargeaddress, history.caninterface, history.devtype),
              std::tuple(0, 0xE1, 2, 17));
    EXPECT_EQ(std::tuple(history.updateaddress, history.filesize, history.timestamp),
              std::tuple(0x2A, 2050, 3));
    // These are not read.
    EXPECT_EQ(std::tuple(history.name[0], history.timeuse, history.crcA, history.crcB),
              std::tuple('\0', 0, 0U, 0U));

    PrintedBy([&] { loader.Load_SynDatabases(5); });
    EXPECT_EQ(Sql("SELECT timestamp,state,result FROM tag_history"),
              (Rows{"1|1|0", "2|0|3", "3|1|5", "4|0|-1"}));
}

TEST_F(Loading, CellsAreReadAsTheirColumnsAreWritten) {
    Sql("INSERT INTO tag_infor VALUES"
        "(NULL,0,'00000400','1079e08a',256,'8b0a5208','EFB5AF2E',7),"
        "(NULL,1,'abc','abc',-1,'12','0102030405',7),"  // odd text decodes to nothing, short text fills from
                                                        // the top
        "(NULL,NULL,NULL,NULL,NULL,NULL,NULL,7),(NULL,0,'x','xyz!',' 5z','','" +
        std::string(200, 'f') + "',7),(NULL,0,'00000400','1079e08a',256,'8b0a5208','EFB5AF2E',8)");
    cache.emplace_back().address = 99;
    printed = PrintedBy([&] { EXPECT_EQ(db().DB_GetInfor(7, &cache, kStagingFile, nullptr), 0); });
    EXPECT_EQ(printed.out, "error\n");
    ASSERT_EQ(cache.size(), 5U);
    EXPECT_EQ(cache.front().address, 99U);
    cache.pop_front();
    using Group = std::tuple<int, int, unsigned int, unsigned int, int, unsigned int, unsigned int, int>;
    const Group expected[] = {
        {0, -1, 0x400, 0x1079E08A, 256, 0x8B0A5208, 0xEFB5AF2E, 7},
        {1, -1, 0xABC, 0, -1, 0x12000000, 0x01020304, 7},
        {0, -1, 0, 0, 0, 0, 0, 7},
        {0, -1, 0, 0, 5, 0, 0xFFFFFFFF, 7},
    };
    const Group* next = expected;
    for (const s_addnode& g : cache) {
        EXPECT_EQ(Group(g.state, g.addrstate, g.address, g.canid, g.count, g.crc32A, g.crc32B, g.savestamp),
                  *next++);
    }
}

TEST_F(Loading, PacketsComeAsTheyStandAndInTheOrderOfInsertion) {
    Write(
        "(0,8,'0110200001020304'),(9,6,'0102030405060000'),(1,264,'01'),(-3,255,'012'),(300,4,''),(2,8,NULL),"
        "(3,8,'zz-10203'),(4,8,'" +
        std::string(300, '7') + "')");
    Sql("UPDATE tag_data SET canid='00000001'");
    for (const bool indexed : {false, true}) {
        if (indexed) db().DB_IndexPackets(kStagingFile);
        std::deque<s_datanode> queue(1);
        PrintedBy([&] { EXPECT_EQ(db().DB_GetData(&queue, 1024, 0x1079E08A, 7, kStagingFile, nullptr), 0); });
        ASSERT_EQ(queue.size(), 9U);
        const struct {
            int dataid;
            int can_dlc;
            const char* data;
        } expected[] = {
            {0, 8, "\x01\x10\x20\x00\x01\x02\x03\x04"},   {9, 6, "\x01\x02\x03\x04\x05\x06\x00\x00"},
            {1, 8, "\x01\x00\x00\x00\x00\x00\x00\x00"},   {-3, 255, "\x00\x00\x00\x00\x00\x00\x00\x00"},
            {300, 4, "\x00\x00\x00\x00\x00\x00\x00\x00"}, {2, 8, "\x00\x00\x00\x00\x00\x00\x00\x00"},
            {3, 8, "\x00\xFF\x02\x03\x00\x00\x00\x00"},   {4, 8, "wwwwwwww"},
        };
        for (std::size_t i = 0; i < std::size(expected); ++i) {
            const s_datanode& packet = queue[i + 1];
            EXPECT_EQ(std::tuple(packet.dataid, packet.frame.can_dlc, packet.savestamp),
                      std::tuple(expected[i].dataid, expected[i].can_dlc, 7));
            EXPECT_EQ(packet.frame.can_id, 0x9079E08AU);
            EXPECT_EQ(0, std::memcmp(packet.frame.data, expected[i].data, 8)) << i;
        }
    }
}

TEST_F(Loading, SelfCheckSkipsDamagedPacketsAndKeepsThoseAroundThem) {
    const std::string good0 = "(0,8,'0110200041424344')";  // ABCD
    const std::string good1 = "(1,8,'0110200145464748')";  // EFGH
    const std::string last = "(259,8,'01102003' || '57585950')";
    std::string many = "(2,8,'0110200249494949')";
    for (int i = 0; i < 300; ++i) many += ",(2,8,'0110200249494949')";
    const struct {
        std::string packets;
        std::string payload;
    } cases[] = {
        {good0 + "," + good1, "ABCDEFGH"},
        {good0 + ",(260,8,'0110200458585858')," + good1, "ABCDEFGH"},
        {good0 + ",(2147483647,8,'0110200458585858')," + good1, "ABCDEFGH"},
        {good0 + ",(-1,8,'0110200458585858')," + good1, "ABCDEFGH"},
        {good0 + ",(5,3,'0110200458585858')," + good1, "ABCDEFGH"},
        {good0 + ",(5,9,'0110200458585858')," + good1, "ABCDEFGH"},
        {good0 + ",(5,0,'0110200458585858'),(5,255,'0110200458585858')," + good1, "ABCDEFGH"},
        {good0 + ",(1,6,'0110200145460000')", "ABCDEF"},
        {last, std::string(4, '\0')},  // as many bytes as were appended, from the front
        {many, std::string(8, '\0') + "IIII" + std::string(1028, '\0')},
    };
    for (const auto& c : cases) {
        Write(c.packets);
        cache.clear();
        LoadStaged();
        EXPECT_TRUE(Payload() == c.payload) << c.packets.substr(0, 80);
        EXPECT_EQ(printed.out, "countnum:" + std::to_string(c.payload.size()) + "\nnsave:1\n");
        EXPECT_TRUE(cache.front().dataqueue.empty());
    }
}

TEST_F(Loading, SelfCheckAppendsAndConsumesThePackets) {
    Write("(0,8,'0110200041424344')");
    LoadStaged();
    const std::string path = bench.Write("payload", "before ");
    for (int run = 0; run < 2; ++run) PrintedBy([&] { loader.Load_UnitTest(&cache, path.c_str()); });
    EXPECT_EQ(BenchDir::Read(path), "before ABCD");
    EXPECT_EQ(cache.front().count, 1);
}

TEST_F(Loading, SavedNodesStayInsideTheirRoom) {
    std::list<s_savenode> nodes(3);
    nodes.front().datasize = 2000;
    nodes.back().datasize = -4;
    const std::string path = (bench.Root() / "nodes").string();
    PrintedBy([&] { EXPECT_EQ(loader.Load_Save(&nodes, path.c_str()), 0); });
    EXPECT_EQ(BenchDir::Read(path), std::string(1040, '\0'));

    const std::string nowhere = (bench.Root() / "no/such/folder").string();
    printed = PrintedBy([&] { EXPECT_EQ(loader.Load_Save(&nodes, nowhere.c_str()), 0); });
    EXPECT_EQ(printed.err, nowhere + ": No such file or directory\n");
    printed = PrintedBy([&] { EXPECT_EQ(loader.Load_Save(&nodes, "/dev/full"), 0); });
    EXPECT_EQ(printed.err, "/dev/full: No space left on device\n");
}

TEST_F(Loading, ReadersSayWhatIsWrongWithTheFileAndLeaveTheirOutputs) {
    const auto read_all = [&] {
        std::deque<s_datanode> queue;
        history.filesize = 55;
        int sum = 0;
        printed = PrintedBy([&] {
            sum += db().DB_GetHistory(&history, kStagingFile, nullptr);
            sum += db().DB_GetInfor(7, &cache, kStagingFile, nullptr);
            sum += db().DB_GetData(&queue, 1024, 1, 7, kStagingFile, nullptr);
        });
        EXPECT_EQ(history.filesize, 55);
        EXPECT_TRUE(cache.empty() && queue.empty());
        return sum;
    };
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(bench.StagingFile().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(read_all(), 0);
    EXPECT_EQ(printed.out,
              "sqlite3 get table failed error code: 5\nsqlite3 get table failed error code: 5\n");
    sqlite3_close(other);

    bench.Write("mnt/nandflash/app/chargeupdate.db", std::string(1000, 'x'));
    EXPECT_EQ(read_all(), 0);
    EXPECT_EQ(printed.out,
              "sqlite3 get table failed error code: 26\nsqlite3 get table failed error code: 26\n");

    std::filesystem::remove(bench.StagingFile());
    EXPECT_EQ(read_all(), -3);
    EXPECT_EQ(printed.out, "config db is not exit!\nconfig db is not exit!\nconfig db is not exit!\n");
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));

    std::filesystem::create_directory(bench.StagingFile());
    EXPECT_EQ(read_all(), -3);
    EXPECT_EQ(printed.err.find("Can't open database: unable to open database file\n"), 0U);
}

TEST_F(Loading, KeysAreRefusedByPlaceOfTheirUse) {
    std::deque<s_datanode> queue;
    printed = PrintedBy([&] {
        EXPECT_EQ(db().DB_GetHistory(&history, kStagingFile, "key"), -1);
        EXPECT_EQ(db().DB_GetInfor(7, &cache, kStagingFile, "key"), -1);
        EXPECT_EQ(db().DB_GetData(&queue, 1024, 1, 7, kStagingFile, "key"), -1);
        EXPECT_EQ(db().DB_CreateTable("/mnt/nandflash/app/new.db", "key"), -1);
    });
    EXPECT_EQ(printed.err,
              "Error: 164 sqlite3_key Fail.\nError: 280 sqlite3_key Fail.\nError: 415 sqlite3_key Fail.\n"
              "Error: 61 sqlite3_key Fail.\n");
    EXPECT_FALSE(std::filesystem::exists(bench.Root() / "mnt/nandflash/app/new.db"));
}

TEST_F(Loading, GroupsOfTheCacheBeforeGetTheirOwnPackets) {
    Write("(0,8,'0110200041424344')");
    s_addnode& before = cache.emplace_back();
    before.address = 0x400;
    before.savestamp = 7;
    LoadStaged();
    EXPECT_EQ(printed.out,
              "mstamp:7\nindex:0,state:0 crcA:00000000 crcB:00000000\n"
              "index:1,state:0 crcA:00000000 crcB:00000000\n");
    EXPECT_EQ(cache.front().dataqueue.size(), 1U);
    EXPECT_EQ(cache.back().dataqueue.size(), 1U);
}

}  // namespace
