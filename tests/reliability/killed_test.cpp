// The updater is killed at any moment of its start: its staging file is whole or not there, and the next
// start works.
#include <csignal>

#include "realbench.h"
#include "seed.h"

namespace {

constexpr int kKills = 120;

class Killed : public RealBench {
  protected:
    /// Microseconds from the start of the program to its first pass.
    long StartUpTime() {
        const auto start = std::chrono::steady_clock::now();
        StartUpdater(5000);
        EXPECT_TRUE(updater->WaitForOutput("loop//loop-1:5"));
        return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start)
            .count();
    }

    void ExpectWholeOrAbsent() {
        if (!std::filesystem::exists(bench.StagingFile())) return;
        ++files;
        EXPECT_EQ(SqlRows(bench.StagingFile(),
                          "SELECT name FROM sqlite_master WHERE name LIKE 'tag%' ORDER BY name"),
                  (Words{"tag_data", "tag_history", "tag_infor"}));
        EXPECT_EQ(SqlRows(bench.StagingFile(), "PRAGMA integrity_check"), Words{"ok"});
    }

    void ExpectNextStartWorks() {
        StartUpdater(5000);
        EXPECT_TRUE(updater->WaitForOutput("loop//loop-1:5"));
        updater->Signal(SIGTERM);
        EXPECT_EQ(updater->Wait(), 143) << updater->errors;
        EXPECT_EQ(SqlRows(bench.StagingFile(), "SELECT count(*)>0 FROM tag_history WHERE result=13"),
                  Words{"1"});
    }

    int files = 0;
};

TEST_F(Killed, StartUpLeavesAWholeStagingFileOrNone) {
    std::mt19937 random = SeededRandom();
    StartDevice({"--silent"});
    const long whole = StartUpTime();
    for (int kill = 0; kill < kKills && !HasFailure(); ++kill) {
        updater.reset();
        for (const auto& entry : std::filesystem::directory_iterator(bench.Root() / "mnt/nandflash/app")) {
            std::filesystem::remove(entry.path());
        }
        StartUpdater(5000);
        std::this_thread::sleep_for(std::chrono::microseconds(static_cast<long>(random()) % (whole * 5 / 4)));
        updater->Signal(SIGKILL);
        EXPECT_EQ(updater->Wait(), 128 + SIGKILL);
        ExpectWholeOrAbsent();
        ExpectNextStartWorks();
    }
    std::printf("%d kills in %ld us, the file was there after %d\n", kKills, whole, files);
    EXPECT_GT(files, 0);
    EXPECT_LT(files, kKills) << "else no kill came before the file was made";
}

}  // namespace
