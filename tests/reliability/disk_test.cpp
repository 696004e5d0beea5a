// Faults of the disk under a whole job: the download is done all the same, the fault is named, and what lay
// there is not made worse.
#include <sqlite3.h>
#include <sys/stat.h>

#include "realbench.h"

namespace {

class Disk : public RealBench {
  protected:
    /// Runs a job to its end. What it said on standard error, without the line about the bench.
    std::string Update(const std::string& shell = "") {
        StartDevice({"--once"});
        StartUpdater(1000, shell);
        EXPECT_EQ(updater->Wait(60000), 0);
        EXPECT_EQ(device->Wait(60000), 0);
        EXPECT_TRUE(IsDelivered());
        EXPECT_NE(updater->output.find("error code:0\nupdate finished........\n"), std::string::npos);
        return updater->errors.substr(updater->errors.find('\n') + 1);
    }
};

TEST_F(Disk, StagingFileThatIsNoDatabaseStaysAsItIs) {
    const std::string garbage = TestImage(5000);
    bench.Write("mnt/nandflash/app/chargeupdate.db", garbage);
    EXPECT_EQ(Update(),
              "insert database error!: file is not a database\n"
              "insert database error!: file is not a database\n");
    EXPECT_TRUE(BenchDir::Read(bench.StagingFile()) == garbage);
}

TEST_F(Disk, StagingFolderThatIsMissingIsNamed) {
    std::filesystem::remove(std::filesystem::path(bench.StagingFile()).parent_path());
    EXPECT_EQ(Update(),
              "Can't open database: unable to open database file\n"
              "Can't open database: unable to open database file\n"
              "Can't open database: unable to open database file\n");
}

TEST_F(Disk, FolderInThePlaceOfTheStagingFileIsNamed) {
    std::filesystem::create_directory(bench.StagingFile());
    EXPECT_EQ(Update(),
              "Can't open database: unable to open database file\n"
              "Can't open database: unable to open database file\n");
}

TEST_F(Disk, StagingFileThatAnotherProcessHoldsIsReportedAndNotWaitedFor) {
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(bench.StagingFile().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "CREATE TABLE held(x); BEGIN EXCLUSIVE", nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_EQ(Update(),
              "insert database error!: database is locked\n"
              "insert database error!: database is locked\n");
    sqlite3_close(other);
}

TEST_F(Disk, FullDiskLeavesNoHalfMadeStagingFile) {
    // No file may grow at all, which a program sees as it sees a full disk. The pipes are none.
    const std::string errors = Update("trap '' XFSZ; ulimit -f 0; exec \"$@\"");
    EXPECT_NE(errors.find("create table error!: "), std::string::npos) << errors;
    EXPECT_TRUE(std::filesystem::is_empty(std::filesystem::path(bench.StagingFile()).parent_path()));

    EXPECT_EQ(Update(), "") << "once there is room again";
    EXPECT_EQ(Results(), Words{"1|0"});
}

TEST_F(Disk, PipeInThePlaceOfTheJobFileIsNoJob) {
    ASSERT_EQ(mkfifo(bench.JobFile().c_str(), 0600), 0);
    Process run({VELMORIN});
    EXPECT_EQ(run.Wait(60000), 255);
}

#ifndef __SANITIZE_ADDRESS__  // which needs far more room for itself
TEST_F(Disk, ImageTooLargeForTheMemoryIsRefusedByTheDeviceAndHasNoRow) {
    StartDevice();
    StartUpdater(30000000, "ulimit -v 120000; exec \"$@\"");
    EXPECT_EQ(updater->Wait(60000), 0);
    EXPECT_NE(updater->output.find("ERROR: -2,fireware "), std::string::npos) << updater->output;
    EXPECT_NE(updater->output.find("error code:5\n"), std::string::npos);
    EXPECT_EQ(Results(), Words{});
}
#endif

}  // namespace
