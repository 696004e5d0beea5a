// Signals: two of them end a job with a recorded result, a reader that goes away ends nothing.
#include <csignal>
#include <regex>

#include "realbench.h"

namespace {

class Signals : public RealBench {
  protected:
    void ExpectInterrupted(int number) {
        EXPECT_EQ(updater->Wait(60000), 128 + number);
        EXPECT_EQ(Results(), Words{"1|13"});
        EXPECT_NE(updater->output.find("error code:13\n"), std::string::npos) << updater->output;
        EXPECT_EQ(updater->output.find("update finished........"), std::string::npos);
    }
};

TEST_F(Signals, EndAJobThatWaitsForItsLink) {
    for (const int number : {SIGINT, SIGTERM}) {
        std::filesystem::remove(bench.StagingFile());
        StartDevice({"--silent"});
        StartUpdater(5000);
        ASSERT_TRUE(updater->WaitForOutput("loop//loop-1:5"));
        updater->Signal(number);
        ExpectInterrupted(number);
        device.reset();
    }
}

TEST_F(Signals, EndAJobInTheMiddleOfItsData) {
    StartDevice();
    StartUpdater(5000);
    ASSERT_TRUE(updater->WaitForOutput("groupaddress:08004400"));
    updater->Signal(SIGTERM);
    ExpectInterrupted(SIGTERM);
    EXPECT_FALSE(IsDelivered());
}

TEST_F(Signals, EndAJobThatIsStillPacking) {
    StartDevice({"--silent"});
    StartUpdater(8000000);
    ASSERT_TRUE(updater->WaitForOutput("send file size:8000000"));
    updater->Signal(SIGINT);
    ExpectInterrupted(SIGINT);
}

TEST_F(Signals, SecondOneChangesNothing) {
    StartDevice({"--silent"});
    StartUpdater(1024);
    ASSERT_TRUE(updater->WaitForOutput("loop//loop-1:1"));
    updater->Signal(SIGINT);
    for (int i = 0; i < 200; ++i) updater->Signal(SIGINT);
    ExpectInterrupted(SIGINT);
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

TEST_F(Signals, OtherSignalsThatComeAndGoDisturbNoWait) {
    StartDevice();
    StartUpdater(1024);
    ASSERT_TRUE(updater->WaitForOutput("loop//loop-1:1"));
    for (int i = 0; i < 100; ++i) {
        updater->Signal(SIGSTOP);
        updater->Signal(SIGCONT);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_EQ(updater->Wait(60000), 0);
    EXPECT_TRUE(IsDelivered());
}

TEST_F(Signals, ReaderThatGoesAwayStopsNoUpdate) {
    StartDevice();
    StartUpdater(1024);
    ASSERT_TRUE(updater->WaitForOutput("loop//loop-1:1"));
    updater->StopReading();
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
