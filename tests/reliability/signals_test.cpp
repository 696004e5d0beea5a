// Signals: two of them end a job with a recorded result, a reader that goes away ends nothing.
#include <csignal>
#include <regex>

#include "realbench.h"

namespace {

class Signals : public RealBench {};

TEST_F(Signals, EndAJobWhereverItIs) {
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
        EXPECT_FALSE(IsDelivered());
        device.reset();
    }
}

TEST_F(Signals, LeaveAJobItsResultThatHasOneAlready) {
    StartDevice({"--refuse-start", "1"});
    StartUpdater(1024, "", {{"CAN_UPDATE", "ON"}});
    ASSERT_TRUE(updater->WaitForOutput("can ID:73"));
    updater->Signal(SIGTERM);  // while it waits its last two seconds
    ASSERT_EQ(updater->Wait(60000), 0);
    EXPECT_EQ(Results(), Words{"1|10"});
    EXPECT_NE(updater->output.find("update finished........\n"), std::string::npos);
}

TEST_F(Signals, OthersThatComeAndGoAndAReaderThatGoesAwayStopNoUpdate) {
    StartDevice();
    StartUpdater(1024);
    ASSERT_TRUE(updater->WaitForOutput("loop//loop-1:1"));
    updater->StopReading();
    for (int i = 0; i < 100; ++i) {
        updater->Signal(SIGSTOP);
        updater->Signal(SIGCONT);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_EQ(updater->Wait(60000), 0);
    EXPECT_TRUE(IsDelivered());
    EXPECT_EQ(Results(), Words{"1|0"});
}

// What a descriptor 1 or 2 that nobody opened would lead to: the next file or socket takes its number, and
// every line goes there. "CAN ID:1079e08a" and its line end are 16 bytes, which is a frame.
TEST_F(Signals, OutputThatLeadsNowhereStopsNoUpdateAndReachesNoOtherFile) {
    for (const char* redirection : {">&- 2>&-", ">/dev/full 2>/dev/full"}) {
        std::filesystem::remove(bench.StagingFile());
        std::filesystem::remove(Saved());
        StartDevice({"--once"});
        StartUpdater(700, std::string("exec \"$@\" ") + redirection);
        ASSERT_EQ(updater->Wait(60000), 0) << redirection;
        EXPECT_EQ(device->Wait(60000), 0) << redirection;
        EXPECT_TRUE(IsDelivered()) << redirection;
        EXPECT_EQ(Results(), Words{"1|0"}) << redirection;
        const std::string log = BenchDir::Read(Log());
        EXPECT_FALSE(std::regex_search(log, std::regex("can0 (?!10[0-9A-F]{6}#)"))) << redirection << log;
    }
}

}  // namespace
