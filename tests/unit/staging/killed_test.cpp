// A process that is killed at any moment leaves a staging file that the next one can use.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>

#include "staging_support.h"

namespace {

using Clock = std::chrono::steady_clock;

class Killed : public StagingFixture {
  protected:
    /// Runs `work` in a process of its own and kills that after so many microseconds; true when it was not
    /// done yet.
    static bool RunAndKill(const std::function<void()>& work, unsigned int microseconds) {
        const pid_t child = fork();
        if (child == 0) {
            work();
            _exit(0);
        }
        usleep(microseconds);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        return WIFSIGNALED(status);
    }

    /// How long `work` takes in a process of its own.
    static unsigned int MicrosecondsOf(const std::function<void()>& work) {
        const auto start = Clock::now();
        const pid_t child = fork();
        if (child == 0) {
            work();
            _exit(0);
        }
        waitpid(child, nullptr, 0);
        const auto taken = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
        return static_cast<unsigned int>(taken.count());
    }

    std::size_t FilesBesideTheStagingFile() const {
        std::size_t files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(bench.Root() / "mnt/nandflash/app")) {
            files += entry.path() != bench.StagingFile() ? 1 : 0;
        }
        return files;
    }
};

TEST_F(Killed, WhileMakingTheFileLeavesNoneWithoutItsTables) {
    const auto create = [] { db().DB_CreateTable(kStagingFile, nullptr); };
    std::mt19937 random(Seed());
    const unsigned int whole = MicrosecondsOf(create);
    int killed = 0, made = 0;
    for (int round = 0; killed < 100 && round < 2000; ++round) {
        std::filesystem::remove(bench.StagingFile());
        killed += RunAndKill(create, static_cast<unsigned int>(random() % whole)) ? 1 : 0;
        if (!std::filesystem::exists(bench.StagingFile())) continue;
        ++made;
        ASSERT_EQ(Sql("SELECT name FROM sqlite_master WHERE name LIKE 'tag%' ORDER BY name"),
                  (Rows{"tag_data", "tag_history", "tag_infor"}));
        ASSERT_EQ(Sql("PRAGMA integrity_check"), Rows{"ok"});
    }
    EXPECT_GE(killed, 100);
    std::printf("killed %d times, the file was there %d times\n", killed, made);

    std::filesystem::remove(bench.StagingFile());
    PrintedBy(create);
    EXPECT_EQ(Sql("SELECT count(*) FROM tag_history"), Rows{"0"});
    EXPECT_EQ(FilesBesideTheStagingFile(), 0U) << "what killed processes left is swept away";
}

TEST_F(Killed, WhileStagingLoadingOrCleaningLeavesAFileThatWorks) {
    const std::string path = bench.Write("large", TestImage(3000));
    const auto whole_job = [&] {
        freopen("/dev/null", "w", stdout);
        PackData child;
        child.Pack_Init(1, 0xE0, 0x10, 0x20);
        child.Pack_Runing(path.c_str());
        loader.Load_DbToCache(&history, &cache);
        loader.Load_SynDatabases(0);
    };
    std::mt19937 random(Seed());
    const unsigned int whole = MicrosecondsOf(whole_job);
    int killed = 0;
    for (int round = 0; killed < 50 && round < 1000; ++round) {
        killed += RunAndKill(whole_job, static_cast<unsigned int>(random() % whole)) ? 1 : 0;
        if (!std::filesystem::exists(bench.StagingFile())) continue;
        ASSERT_EQ(Sql("PRAGMA integrity_check"), Rows{"ok"});

        Sql("UPDATE tag_history SET state=1");
        PrintedBy([] { db().DB_Clean(kStagingFile, nullptr); });
        ASSERT_EQ(Stage("next image"), 0);
        ASSERT_EQ(printed.err, "");
        cache.clear();
        LoadStaged();
        ASSERT_EQ(Payload(), "next image");
        PrintedBy([&] { loader.Load_SynDatabases(0); });
        cache.clear();
    }
    EXPECT_GE(killed, 50);
}

TEST_F(Killed, NewFileNeverTakesThePlaceOfAnother) {
    const auto create = [] { db().DB_CreateTable(kStagingFile, nullptr); };
    for (int round = 0; round < 20; ++round) {
        std::filesystem::remove(bench.StagingFile());
        const pid_t child = fork();
        if (child == 0) {
            freopen("/dev/null", "w", stderr);
            create();
            s_history first{};
            _exit(db().DB_SaveHistory(&first, kStagingFile, nullptr) == 0 ? 0 : 1);
        }
        PrintedBy(create);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(Sql("SELECT count(*) FROM tag_history"), Rows{"1"});
    }
}

}  // namespace
