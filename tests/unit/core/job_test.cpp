// A job from its file and its image to its row.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <ctime>
#include <string>
#include <tuple>

#include "Load.h"
#include "Packdata.h"
#include "benchdir.h"
#include "canframe.h"
#include "db.h"
#include "elapsed.h"
#include "printed.h"
#include "sqlrows.h"

using namespace velmorin;

namespace {

using Rows = std::vector<std::string>;

class Job : public testing::Test {
  protected:
    /// Packs an image for port 1, device e0, type 10, update address 2a.
    void Load(const std::string& path) {
        session.CacheClean();
        complained = Complained([&] {
            printed = Printed([&] {
                session.SetAddress(1, 0xE0, 0x10, 0x2A);
                session.LoadData(path.c_str());
            });
        });
    }

    Rows Sql(const std::string& query) const { return SqlRows(bench.StagingFile(), query); }

    BenchDir bench;
    canframe session;
    std::string printed, complained;
};

TEST_F(Job, FromAFileTakesEveryKeyAndItsOwnStartTime) {
    EXPECT_EQ(session.LoadFirewareInfo(), -1) << "there is none";
    for (const auto& [target, result] : {std::pair{"/dev/null", 0}, {"/tmp", -1}}) {
        std::filesystem::create_symlink(target, bench.JobFile());
        EXPECT_EQ(session.LoadFirewareInfo(), result) << target;
        std::filesystem::remove(bench.JobFile());
    }
    bench.Write("mnt/nandflash/download/update.conf",
                "# a job\r\nPortSN=1\r\ndesDeviceAddress=138\r\ndesDeviceType=3\r\ndesSubDeviceAddress=4\r\n"
                "desFuncIndex=2\r\ndesFirewareType=7\r\ndesFirewareName=" +
                    bench.Write("a b=c.bin", "image"));
    EXPECT_EQ(session.LoadFirewareInfo(), 0);
    EXPECT_EQ(session.m_funcindex, 2);
    EXPECT_EQ(session.m_firewaretype, 7);
    Printed([&] { session.FirewareUpdateInit(); });
    EXPECT_NEAR(static_cast<double>(session.m_starttime.tv_sec), static_cast<double>(std::time(nullptr)), 2);
    const can_frame& packet = session.m_addlist.front().dataqueue[0].frame;
    EXPECT_EQ(packet.can_id, 0x90798A8AU);
    EXPECT_EQ(0, std::memcmp(packet.data, "\x01\x03\x04\0imag", 8));
}

TEST_F(Job, WhatIsNoImageIsRefusedByNameAndHasNoRow) {
    const std::string big = bench.Write("big", "");
    ASSERT_EQ(truncate(big.c_str(), 2147483648L), 0);
    const std::string folder = bench.Root().string();
    const struct {
        std::string path, result, complaint;
    } cases[] = {
        {bench.Write("empty", ""), "-1", ""},
        {folder, "-3", "image " + folder + ": not a regular file\n"},
        {"/dev/zero", "-1", "image /dev/zero: not a regular file\n"},
        {big, "-1", "file:: File too large\nimage " + big + ": 2 GiB or more\n"},
    };
    for (const auto& c : cases) {
        Load(c.path);
        EXPECT_EQ(complained, c.complaint);
        EXPECT_EQ(printed, "CAN ID:1079e08a\nERROR: " + c.result + ",fireware " + c.path + " Open Failed!\n");
        EXPECT_TRUE(session.m_addlist.empty());
        EXPECT_EQ(session.m_history.timestamp, 0);
    }
    EXPECT_EQ(Complained([&] { Printed([&] { session.UpdateRecord(); }); }), "") << "the job goes on";
    EXPECT_TRUE(Sql("SELECT * FROM tag_history").empty());

    unsigned char buffer[16];
    const std::string path = bench.Write("image", "12345");
    const auto read = [&] { EXPECT_EQ(PackData().Pack_ReadFileToCache(buffer, 6, path.c_str()), -1); };
    EXPECT_EQ(Complained(read), "image " + path + ": shorter than its size\n");
}

TEST_F(Job, RowOpensWithTheJobAndClosesWithItsResult) {
    const std::string path = bench.Write("image", "100000001");
    session.m_debug = 1;
    Load(path);
    EXPECT_NE(printed.find("crcA:0493eed9 crcB:0d6ea2c3\n"), std::string::npos) << printed;
    EXPECT_EQ(Sql("SELECT * FROM tag_history"), Rows{"1|0|" + path + "|e0|1|16|2a|9|-1|0|0493eed9|0d6ea2c3|" +
                                                     std::to_string(session.m_history.timestamp)});
    session.m_errorcode = 12;
    printed = Printed([&] { session.UpdateRecord(); });
    const std::string time = std::to_string(session.m_history.timeuse);
    EXPECT_EQ(printed, "time use = " + time + " ms\nerror code:12\n");
    EXPECT_EQ(Sql("SELECT state,result,timeuse FROM tag_history"), Rows{"1|12|" + time});

    EXPECT_EQ(ElapsedMs({10, 900000}, {12, 100000}), 1200);
}

TEST_F(Job, PathGivesTheImageTypeAndReachesTheRowUnchanged) {
    // A path of 127 quotes is the longest and the worst for a statement built as text.
    std::filesystem::current_path(bench.Root());
    for (const auto& [name, row, type] : {std::tuple{std::string(127, '\''), std::string(127, '\''), 0},
                                          {std::string(128, 'n'), "", 0},
                                          {"FW.TAR.GZ", "FW.TAR.GZ", 1},
                                          {"fw.Tar.Gz", "fw.Tar.Gz", 0}}) {
        std::filesystem::remove(bench.StagingFile());
        bench.Write(name, "image");
        Load(name);
        EXPECT_EQ(session.m_firewaretype, type) << name;
        EXPECT_EQ(Sql("SELECT name FROM tag_history"), Rows{row});
    }
    std::filesystem::current_path("/");
}

TEST_F(Job, SchemaIsMadeOnceToTheLetter) {
    Load(bench.Write("image", "image"));
    Printed([&] {
        PackData().Pack_Runing((bench.Root() / "image").c_str());
        ::Load().Load_DbToCache(&session.m_history, &session.m_addlist);
    });
    EXPECT_EQ(Sql("SELECT sql FROM sqlite_master WHERE name NOT LIKE 'sqlite_%' ORDER BY rowid"),
              (Rows{"CREATE TABLE tag_history(id INTEGER PRIMARY KEY AUTOINCREMENT,\tstate INT,name TEXT(80),"
                    "chargeaddress TEXT(4),caninterface\tINT,devtype   INT,\tupdateaddress   TEXT(4),"
                    "filesize INT,result INT,timeuse INT,crcA TEXT(16),crcB TEXT(16),timestamp INT)",
                    "CREATE TABLE tag_data(id INTEGER PRIMARY KEY AUTOINCREMENT,\t\t\tstate INT,"
                    "address TEXT(16),canid TEXT(10),dataid INT,\t\t\tdatalen INT,data TEXT(40),"
                    "savestamp INT)",
                    "CREATE TABLE tag_infor(id INTEGER PRIMARY KEY AUTOINCREMENT,\tstate INT,"
                    "address TEXT(16),canid TEXT(10),count\tINT,crc32A TEXT(16),crc32B TEXT(16),"
                    "savestamp INT)"}));
}

TEST_F(Job, TablesGoWhereSqliteOpensThem) {
    EXPECT_EQ(db().DB_CreateTable("", nullptr), 0);
    EXPECT_EQ(db().DB_CreateTable(":memory:", nullptr), 0);
    std::filesystem::create_directory(bench.Root() / "gone");
    std::filesystem::current_path(bench.Root() / "gone");
    std::filesystem::remove(bench.Root() / "gone");
    EXPECT_EQ(Complained([] { EXPECT_EQ(db().DB_CreateTable("relative.db", nullptr), -1); }),
              "Can't open database: unable to open database file\n");
    std::filesystem::current_path("/");
}

TEST_F(Job, SqliteWithoutMemoryIsAFaultAndNoException) {
    const std::string image = bench.Write("image", "image");
    Load(image);
    const auto before = sqlite3_hard_heap_limit64(1);
    EXPECT_NO_THROW(Load(image));
    sqlite3_hard_heap_limit64(before);
    EXPECT_NE(complained, "");
    EXPECT_EQ(session.m_addlist.size(), 1U);
}

/// The bytes from `from` to `to` of a record that was made without an initialiser.
template <typename Record>
void ExpectZeroAtFirst(std::size_t from, std::size_t to) {
    alignas(Record) unsigned char bytes[sizeof(Record)];
    std::memset(bytes, 0xA5, sizeof bytes);
    auto* record = new (bytes) Record;
    EXPECT_EQ(std::count(bytes + from, bytes + to, 0), static_cast<std::ptrdiff_t>(to - from));
    record->~Record();
}

TEST(Records, StartAtZero) {
    static_assert(sizeof(off_t) == 8 && sizeof(time_t) == 8);
    ExpectZeroAtFirst<s_history>(0, sizeof(s_history));
    ExpectZeroAtFirst<s_datanode>(0, 3 * sizeof(int));
    ExpectZeroAtFirst<s_datanode>(offsetof(s_datanode, frame), sizeof(s_datanode));
    ExpectZeroAtFirst<s_addnode>(0, 9 * sizeof(int));
    ExpectZeroAtFirst<s_savenode>(0, sizeof(s_savenode));
    ExpectZeroAtFirst<tagCAN_MailBox>(0, sizeof(tagCAN_MailBox));
}

}  // namespace
