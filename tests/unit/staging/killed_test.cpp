// A process that is killed at any moment leaves a staging file that the next one can use.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "staging_support.h"

using namespace velmorin;

namespace {

class Killed : public StagingFixture {
  protected:
    using Work = std::function<void()>;

    static pid_t Start(const Work& work) {
        const pid_t child = fork();
        if (child != 0) return child;
        freopen("/dev/null", "w", stdout);
        work();
        _exit(0);
    }

    static int StatusOf(pid_t child) {
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    }

    /// Kills processes at random moments of `work` until so many were not done yet; looks at what each left.
    static void KillAtRandom(int kills, const Work& work, const Work& look) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(StatusOf(Start(work)), 0);
        const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
        look();
        std::mt19937 random = SeededRandom();
        double latest = taken.count();
        int killed = 0, done = 0;
        while (killed < kills && done < 10 * kills && !HasFailure()) {
            const pid_t child = Start(work);
            usleep(static_cast<unsigned int>(std::uniform_real_distribution(0.0, latest)(random)));
            kill(child, SIGKILL);
            const bool in_time = WIFSIGNALED(StatusOf(child));
            ++(in_time ? killed : done);
            latest *= in_time ? 1.05 : 0.8;  // about four of five are in time, however busy the machine is
            look();
        }
        EXPECT_EQ(killed, kills) << "and " << done << " were done before";
    }
};

TEST_F(Killed, WhileMakingTheFileLeavesNoneWithoutItsTables) {
    const auto create = [] { db().DB_CreateTable(kStagingFile, nullptr); };
    KillAtRandom(100, create, [&] {
        if (!std::filesystem::exists(bench.StagingFile())) return;
        EXPECT_EQ(Sql("SELECT name FROM sqlite_master WHERE name LIKE 'tag%' ORDER BY name"),
                  (Rows{"tag_data", "tag_history", "tag_infor"}));
        EXPECT_EQ(Sql("PRAGMA integrity_check"), Rows{"ok"});
        std::filesystem::remove(bench.StagingFile());
    });
    create();
    EXPECT_EQ(Sql("SELECT count(*) FROM tag_history"), Rows{"0"});
    using Entries = std::filesystem::directory_iterator;
    EXPECT_EQ(std::distance(Entries(bench.Root() / "mnt/nandflash/app"), Entries()), 1)
        << "what killed processes left is swept away";
}

TEST_F(Killed, WhileStagingLoadingOrCleaningLeavesAFileThatWorks) {
    MakeStagingFile();
    const std::string path = bench.Write("large", TestImage(1500));
    const auto whole_job = [&] {
        packer.Pack_Init(1, 0xE0, 0x10, 0x20);
        packer.Pack_Runing(path.c_str());
        loader.Load_DbToCache(&history, &cache);
        loader.Load_SynDatabases(0);
    };
    bool clean = false;
    KillAtRandom(50, whole_job, [&] {
        ASSERT_EQ(Sql("PRAGMA integrity_check"), Rows{"ok"});
        clean = !clean;  // staging and cleaning sync the file most: the next command is one of them
        if (clean) {
            Capture([] { db().DB_Clean(kStagingFile, nullptr); });
            ASSERT_EQ(err, "");
            ASSERT_EQ(Sql("SELECT id FROM tag_infor UNION ALL SELECT id FROM tag_data"), Rows{});
            return;
        }
        // A kill loses nothing that was written, so the test's own clearing need not sync.
        Sql("PRAGMA synchronous=OFF; BEGIN; UPDATE tag_history SET state=1; DELETE FROM tag_infor; "
            "DELETE FROM tag_data; COMMIT");
        ASSERT_EQ(Stage("next image"), 0);
        ASSERT_EQ(err, "");
        LoadStaged();
        ASSERT_EQ(Payload(), "next image");
        cache.clear();
    });
}

TEST_F(Killed, NewFileNeverTakesThePlaceOfAnother) {
    for (int round = 0; round < 20; ++round) {
        std::filesystem::remove(bench.StagingFile());
        const pid_t child = Start([] {
            freopen("/dev/null", "w", stderr);
            db().DB_CreateTable(kStagingFile, nullptr);
            const s_history first{};
            _exit(db().DB_SaveHistory(&first, kStagingFile, nullptr) == 0 ? 0 : 1);
        });
        MakeStagingFile();
        EXPECT_EQ(StatusOf(child), 0);
        EXPECT_EQ(Sql("SELECT count(*) FROM tag_history"), Rows{"1"});
    }
}

}  // namespace
