// The job's row: made when the image is packed, closed when the job ended.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <ctime>
#include <string>

#include "benchdir.h"
#include "canframe.h"
#include "db.h"
#include "elapsed.h"
#include "sqlrows.h"

namespace {

class JobRow : public testing::Test {
  protected:
    void Load(const std::string& path) {
        testing::internal::CaptureStdout();
        session.SetAddress(1, 0xE0, 0x10, 0x2A);
        session.LoadData(path.c_str());
        printed = testing::internal::GetCapturedStdout();
    }

    std::vector<std::string> Rows(const std::string& columns) const {
        return SqlRows(bench.StagingFile(), "SELECT " + columns + " FROM tag_history");
    }

    BenchDir bench;
    canframe session;
    std::string printed;
};

TEST_F(JobRow, OpensWithTheJobAndClosesWithItsResult) {
    const std::string path = bench.Write("image", "123456789");
    session.m_debug = 1;
    Load(path);
    EXPECT_EQ(
        Rows("state,name,chargeaddress,caninterface,devtype,updateaddress,filesize,result,timeuse,crcB"),
        (std::vector<std::string>{"0|" + path + "|e0|1|16|2a|9|-1|0|cbf43926"}));
    EXPECT_EQ(Rows("timestamp"), (std::vector<std::string>{std::to_string(session.m_history.timestamp)}));
    EXPECT_EQ(session.m_filesize, 9);
    EXPECT_EQ(session.m_crcB, 0xCBF43926U);
    EXPECT_NE(printed.find(" crcB:cbf43926\n"), std::string::npos);

    session.m_errorcode = 12;
    testing::internal::CaptureStdout();
    session.UpdateRecord();
    printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, "time use = " + std::to_string(session.m_history.timeuse) + " ms\nerror code:12\n");
    EXPECT_EQ(Rows("state,result,timeuse"),
              (std::vector<std::string>{"1|12|" + std::to_string(session.m_history.timeuse)}));
}

TEST_F(JobRow, TakesAnyPathUnchanged) {
    // A path of 127 quotes is the longest and the worst for a statement built as text.
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(bench.Root());
    for (const std::string& name :
         {std::string(127, '\''), std::string("a b;--\"%s%n'x"), std::string(128, 'n')}) {
        std::filesystem::remove(bench.StagingFile());
        bench.Write(name, "image");
        Load(name);
        EXPECT_EQ(Rows("name"), (std::vector<std::string>{name.size() < 128 ? name : ""}));
    }
    std::filesystem::current_path(before);
}

TEST_F(JobRow, ImageTypeFollowsThePathAlone) {
    for (const auto& [name, type] : {std::pair{"fw.tar.gz", 1},
                                     {"FW.TAR.GZ", 1},
                                     {"fw.tar.gz.bin", 1},
                                     {"fw.Tar.Gz", 0},
                                     {"fw.bin", 0}}) {
        session.m_firewaretype = 9;
        Load(bench.Write(name, "image"));
        EXPECT_EQ(session.m_firewaretype, type) << name;
    }
    std::filesystem::create_directory(bench.Root() / "dir.tar.gz");
    Load(bench.Write("dir.tar.gz/fw.bin", "image"));
    EXPECT_EQ(session.m_firewaretype, 1);
}

TEST_F(JobRow, MissingImageLeavesNoRowAndTheSessionGoesOn) {
    testing::internal::CaptureStderr();
    Load("/no/such/image");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "file:: No such file or directory\n");
    EXPECT_EQ(printed, "CAN ID:1079e08a\nERROR: -1,fireware /no/such/image Open Failed!\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(session.UpdateRecord(), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(Rows("*").empty());
}

TEST_F(JobRow, BothWaysToStartTakeTheStartTime) {
    const auto now = std::time(nullptr);
    session.SetAddress(0, 0, 0, 0);
    EXPECT_NEAR(static_cast<double>(session.m_starttime.tv_sec), static_cast<double>(now), 2);
    session.m_starttime = {};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    session.FirewareUpdateInit();
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    EXPECT_NEAR(static_cast<double>(session.m_starttime.tv_sec), static_cast<double>(now), 2);
}

TEST_F(JobRow, ElapsedTimeIsUnsignedArithmetic) {
    EXPECT_EQ(ElapsedMs({10, 900000}, {12, 100000}), 1200);
    // Two hours are 7.2e9 microseconds, 2905032704 modulo 2^32.
    gettimeofday(&session.m_starttime, nullptr);
    session.m_starttime.tv_sec -= 7200;
    testing::internal::CaptureStdout();
    session.UpdateRecord();
    testing::internal::GetCapturedStdout();
    EXPECT_GE(session.m_history.timeuse, 2905032);
    EXPECT_LT(session.m_history.timeuse, 2905032 + 60000);
}

TEST_F(JobRow, FaultsOfTheStagingFileAreReportedAndStopNothing) {
    const std::string image = bench.Write("image", "image");
    const struct {
        const char* name;
        const char* message;
        std::string content;
    } cases[] = {
        {"no tables", "insert database error!: no such table: tag_history\n", ""},
        {"corrupt", "insert database error!: file is not a database\n", std::string(4096, 'x')},
    };
    for (const auto& c : cases) {
        bench.Write("mnt/nandflash/app/chargeupdate.db", c.content);
        testing::internal::CaptureStderr();
        Load(image);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.message) << c.name;
        EXPECT_EQ(session.m_addlist.size(), 1U);
        session.CacheClean();
    }

    std::filesystem::remove(bench.StagingFile());
    Load(image);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(bench.StagingFile().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    session.UpdateRecord();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "insert database error!: database is locked\n");
    sqlite3_close(other);
}

TEST_F(JobRow, SchemaIsMadeOnceToTheLetter) {
    Load(bench.Write("image", "image"));
    EXPECT_EQ(
        SqlRows(bench.StagingFile(),
                "SELECT sql FROM sqlite_master WHERE name LIKE 'tag_%' AND type='table' ORDER BY rowid"),
        (std::vector<std::string>{
            "CREATE TABLE tag_history(id INTEGER PRIMARY KEY AUTOINCREMENT,\tstate INT,name "
            "TEXT(80),chargeaddress "
            "TEXT(4),caninterface\tINT,devtype   INT,\tupdateaddress   TEXT(4),filesize INT,result "
            "INT,timeuse "
            "INT,crcA TEXT(16),crcB TEXT(16),timestamp INT)",
            "CREATE TABLE tag_data(id INTEGER PRIMARY KEY AUTOINCREMENT,\t\t\tstate INT,address "
            "TEXT(16),canid "
            "TEXT(10),dataid INT,\t\t\tdatalen INT,data TEXT(40),savestamp INT)",
            "CREATE TABLE tag_infor(id INTEGER PRIMARY KEY AUTOINCREMENT,\tstate INT,address TEXT(16),canid "
            "TEXT(10),count\tINT,crc32A TEXT(16),crc32B TEXT(16),savestamp INT)"}));
    testing::internal::CaptureStderr();
    EXPECT_EQ(db().DB_CreateTable(bench.StagingFile().c_str(), nullptr), SQLITE_ERROR);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "create table error!: table tag_history already exists\n"
              "create table error!: table tag_data already exists\n"
              "create table  error!: table tag_infor already exists\n");
}

TEST_F(JobRow, CleanReportsAMissingTableAndGoesOn) {
    SqlRows(bench.Write("mnt/nandflash/app/chargeupdate.db", ""),
            "CREATE TABLE tag_infor(x INT); INSERT INTO tag_infor VALUES(1)");
    testing::internal::CaptureStderr();
    EXPECT_EQ(db().DB_Clean(kStagingFile, nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "insert database error!: no such table: tag_data\n");
    EXPECT_EQ(SqlRows(bench.StagingFile(), "SELECT count(*) FROM tag_infor"),
              (std::vector<std::string>{"0"}));
}

}  // namespace
