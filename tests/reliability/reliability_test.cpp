// The real programs on a bench. Signals: two of them end a job with a recorded result. Faults of the disk and
// of the output: the download is done all the same, the fault is named, and what lay there is not made worse.
#include <gtest/gtest.h>

#include <csignal>
#include <regex>

#include "realbench.h"

namespace {

class Reliability : public RealBench {
  protected:
    /// Runs a job that goes well to its end.
    void Update(const std::string& shell = "exec \"$@\"") {
        std::filesystem::remove(Saved());
        StartDevice({"--once"});
        StartUpdater(700, shell);
        EXPECT_EQ(updater->Wait(60000), 0) << shell;
        EXPECT_EQ(device->Wait(60000), 0) << shell;
        EXPECT_TRUE(IsDelivered()) << shell;
    }
};

TEST_F(Reliability, SignalEndsAJobWhereverItIs) {
    const struct {
        std::size_t size;
        const char* until;
        int number, times;
    } cases[] = {
        {5000, "loop//loop-1:5", SIGINT, 1},             // it waits for its link
        {1024, "loop//loop-1:1", SIGTERM, 200},          // the first one counts
        {8000000, "send file size:8000000", SIGINT, 1},  // it is still packing
        {5000, "groupaddress:08004400", SIGTERM, 1},     // in its data
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.until);
        std::filesystem::remove(bench.StagingFile());
        StartDevice();
        StartUpdater(c.size);
        ASSERT_TRUE(updater->WaitForOutput(c.until));
        for (int i = 0; i < c.times; ++i) updater->Signal(c.number);
        EXPECT_EQ(updater->Wait(60000), 128 + c.number);
        EXPECT_EQ(Results(), Words{"1|13"});
        EXPECT_TRUE(updater->output.ends_with("error code:13\n")) << updater->output;
        device.reset();
    }
}

// What a descriptor 1 or 2 that nobody opened would lead to: the next file or socket takes its number, and
// every line goes there. "CAN ID:1079e08a" and its line end are 16 bytes, which is a frame.
TEST_F(Reliability, OutputThatLeadsNowhereStopsNoUpdateAndReachesNoOtherFile) {
    for (const char* shell :
         {"exec \"$@\" >&- 2>&-", "exec \"$@\" >/dev/full 2>/dev/full", "\"$@\" | exit"}) {
        std::filesystem::remove(bench.StagingFile());
        Update(shell);
        EXPECT_EQ(Results(), Words{"1|0"}) << shell;
        EXPECT_FALSE(std::regex_search(BenchDir::Read(Log()), std::regex("can0 (?!10[0-9A-F]{6}#)")))
            << shell;
    }
}

TEST_F(Reliability, FaultsOfTheStagingFileAreNamedAndStopNoUpdate) {
    const std::string no_file = "Can't open database: unable to open database file\n";
    const std::string no_database = "insert database error!: file is not a database\n";
    const std::pair<std::string, std::string> cases[] = {
        {"echo garbage >$1", no_database + no_database},
        {"mkdir $1", no_file + no_file},
        {"rm -r ${1%/*}", no_file + no_file + no_file},
    };
    for (const auto& [shell, errors] : cases) {
        Process({"/bin/sh", "-c", "rm -rf $1; " + shell, "sh", bench.StagingFile()}).Wait();
        Update();
        EXPECT_EQ(updater->errors.substr(updater->errors.find('\n') + 1), errors);
    }
}

TEST_F(Reliability, FullDiskLeavesNoHalfMadeStagingFile) {
    Update("trap '' XFSZ; ulimit -f 0; exec \"$@\"");  // no file may grow; the pipes are none
    EXPECT_NE(updater->errors.find("create table error!: "), std::string::npos) << updater->errors;
    EXPECT_FALSE(std::filesystem::exists(bench.StagingFile()));
}

}  // namespace
