// velmorinctl on a staging file that cannot be used as it should.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ctl_support.h"

namespace {

class CtlFaults : public CtlFixture {
  protected:
    CtlFaults() {
        CtlStage(TestImage(1024));
        job = Sql("SELECT timestamp FROM tag_history").front();
        new_image = bench.Write("new", TestImage(2000));
        commands = {{"stage", new_image, "--charge", "e0", "--device", "10", "--update", "20"},
                    {"download"},
                    {"close", job},
                    {"clean"}};
    }

    /// Every command that writes fails with this complaint of the core and a line of its own, and changes
    /// nothing.
    void ExpectRefused(const std::string& complaint, const Words& program = {VELMORINCTL}) {
        const std::string before = BenchDir::Read(bench.StagingFile());
        for (const Words& command : commands) {
            EXPECT_EQ(Run(command, program), 1) << command[0];
            EXPECT_NE(err.find(complaint), std::string::npos) << command[0] << ": " << err;
            EXPECT_NE(err.find("velmorinctl: "), std::string::npos) << command[0];
            EXPECT_TRUE(BenchDir::Read(bench.StagingFile()) == before) << command[0];
        }
    }

    std::string job, new_image;
    std::vector<Words> commands;
};

TEST_F(CtlFaults, LockedByAnotherProcess) {
    {
        const Holder writer(bench.StagingFile(), "BEGIN IMMEDIATE");
        ExpectRefused("insert database error!: database is locked\n");
        EXPECT_EQ(Run({"jobs"}), 0) << "reading is still possible";
    }
    {
        const Holder owner(bench.StagingFile(), "BEGIN EXCLUSIVE");
        ExpectRefused("database is locked\n");
        EXPECT_EQ(Run({"jobs"}), 1);
        EXPECT_EQ(err, "velmorinctl: " + bench.StagingFile() + ": database is locked\n");
    }
    EXPECT_EQ(Run({"clean"}), 0);
}

TEST_F(CtlFaults, ReadOnlyFileIsStillReadAndLoaded) {
    Sql("DROP INDEX tag_data_group");  // as another program may have staged it
    chmod(bench.StagingFile().c_str(), 0444);
    Words program = {VELMORINCTL};
    if (geteuid() == 0) {  // root may write all the same; the program's own folder may be closed to others
        chmod(bench.Root().c_str(), 0755);
        const int fd = open(VELMORINCTL, O_RDONLY);
        program = {"/usr/bin/setpriv", "--reuid=65534", "--clear-groups",
                   "/proc/self/fd/" + std::to_string(fd)};
    }
    ASSERT_EQ(Run({"jobs"}, program), 0) << err;
    ExpectRefused("insert database error!: attempt to write a readonly database\n", program);
    const std::string folder = (bench.Root() / "open").string();
    std::filesystem::create_directory(folder);
    chmod(folder.c_str(), 0777);
    EXPECT_EQ(Run({"export", folder + "/image"}, program), 0) << err;
    EXPECT_TRUE(BenchDir::Read(folder + "/image") == TestImage(1024));
}

TEST_F(CtlFaults, FullDiskStagesNothingThatCouldBeDownloaded) {
    // The file may grow to 100 KiB: some groups of the image fit in.
    const std::string image = bench.Write("big", TestImage(20000));
    const Words limited = {"/bin/bash", "-c", "ulimit -f 100; exec " VELMORINCTL " \"$@\"", "bash"};
    EXPECT_EQ(Run({"stage", image, "--charge", "e0", "--device", "10", "--update", "20"}, limited), 1);
    EXPECT_NE(err.find("insert database error!: disk I/O error\n"), std::string::npos) << err;
    EXPECT_NE(err.find("velmorinctl: " + bench.StagingFile() + ": the image is not staged whole: "),
              std::string::npos);
    EXPECT_EQ(Sql("PRAGMA integrity_check"), Rows{"ok"});
    EXPECT_EQ(Sql("SELECT state,result FROM tag_history ORDER BY id"), (Rows{"0|-1", "1|13"}));
    const std::string path = (bench.Root() / "exported").string();
    ASSERT_EQ(Run({"export", path}), 0) << err;
    EXPECT_TRUE(BenchDir::Read(path) == TestImage(1024)) << "the job before is whole";
}

TEST_F(CtlFaults, FileOfAnotherKind) {
    bench.Write("mnt/nandflash/app/chargeupdate.db", std::string(5000, 'x'));
    ExpectRefused("file is not a database\n");
    EXPECT_EQ(Run({"jobs"}), 1);
    EXPECT_EQ(err, "velmorinctl: " + bench.StagingFile() + ": file is not a database\n");

    std::filesystem::remove(bench.StagingFile());
    SqlRows(bench.Write("mnt/nandflash/app/chargeupdate.db", ""),
            "CREATE TABLE tag_history(a, b); CREATE TABLE x(y)");
    ExpectRefused("no such ");
    EXPECT_EQ(Run({"jobs"}), 1);
    EXPECT_EQ(Sql("SELECT count(*) FROM sqlite_master"), Rows{"2"});
}

TEST_F(CtlFaults, PagesThatAreOverwritten) {
    std::string content = BenchDir::Read(bench.StagingFile());
    content.replace(4096, content.size() - 4096, content.size() - 4096, '\x5A');
    bench.Write("mnt/nandflash/app/chargeupdate.db", content);
    for (const Words& command : commands) EXPECT_EQ(Run(command), 1) << command[0] << err;
    EXPECT_EQ(Run({"jobs"}), 1);
    EXPECT_EQ(Run({"export", (bench.Root() / "exported").string()}), 1);
}

}  // namespace
