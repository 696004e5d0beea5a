// The sequencer, to the pass.
#include <map>
#include <string>

#include "fakewait.h"
#include "sessionfixture.h"

namespace {

class Sequencer : public SessionFixture {
  protected:
    static unsigned int PfOf(const can_frame& frame) { return frame.can_id >> 16 & 0xFF; }

    /// Runs a pass and returns the PFs of the frames written in it.
    std::vector<unsigned int> Pass() {
        session.Runloop();
        std::vector<unsigned int> pfs;
        for (const can_frame& frame : Frames()) {
            pfs.push_back(PfOf(frame));
            if (PfOf(frame) == 0x70 && answer_heartbeats) {
                Reply(0x71, {0x01, 0x10, frame.data[2], frame.data[3], 0, 0, 0, 0});
            }
        }
        return pfs;
    }

    /// Runs passes up to and including number `last`; which frames went out in which pass.
    std::map<unsigned int, std::vector<unsigned int>> RunTo(unsigned int last) {
        std::map<unsigned int, std::vector<unsigned int>> sent;
        while (session.m_loopcount < last) {
            const auto pfs = Pass();
            if (!pfs.empty()) sent[session.m_loopcount] = pfs;
        }
        return sent;
    }

    bool answer_heartbeats = true;
};

using Sent = std::map<unsigned int, std::vector<unsigned int>>;

TEST_F(Sequencer, DownloadStartsAfterFourHeartbeats) {
    EXPECT_EQ(RunTo(402), (Sent{{100, {0x70}}, {200, {0x70}}, {300, {0x70}}, {400, {0x70}}}));
    EXPECT_EQ(session.m_runstep, 3);
    // Queued in the call that finds the timer run out, so once in 51 calls; a heartbeat of the same pass
    // follows.
    EXPECT_EQ(RunTo(556), (Sent{{403, {0x72}}, {454, {0x72}}, {500, {0x70}}, {505, {0x72}}, {556, {0x72}}}));
}

TEST_F(Sequencer, SilentDeviceIsOfferedTheDownloadAllTheSame) {
    answer_heartbeats = false;
    session.m_debug = 1;
    testing::internal::CaptureStdout();
    const Sent sent = RunTo(405);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "heart beat timeout\n发送启动下载命令\n");
    EXPECT_EQ(sent, (Sent{{100, {0x70}}, {200, {0x70}}, {300, {0x70}}, {400, {0x70}}, {404, {0x72}}}));
    EXPECT_EQ(session.m_heartmiss, 0U);
}

TEST_F(Sequencer, LinkLossRestartsFromAnyStepAndKeepsTheCountOfStarts) {
    AddGroup(1024, 256);
    session.m_heartseq = 9;
    session.m_runstep = 5;
    testing::internal::CaptureStdout();
    session.working(1);
    session.m_runstep = 6;
    session.m_heartmiss = 4;
    session.working(2);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(session.m_runstep, 0);
    EXPECT_EQ(session.m_heartmiss, 0U);
    EXPECT_EQ(session.m_addlist.front().sendcount, 1);
    session.working(3);
    EXPECT_EQ(session.m_runstep, 2);
}

TEST_F(Sequencer, LinkWaitThatGoesOnSkipsTheSupervision) {
    session.m_heartseq = 4;
    session.m_heartmiss = 1;
    session.m_waittime = 30;
    session.working(1);
    EXPECT_EQ(session.m_runstep, 2);
    EXPECT_EQ(session.m_waittime, 0);

    for (const auto& [sent, missed] : {std::pair{3U, 0U}, {4U, 2U}}) {
        session.m_runstep = 0;
        session.m_heartseq = sent;
        session.m_heartmiss = missed;
        session.working(1);
        EXPECT_EQ(session.m_runstep, 0) << sent << " sent, " << missed << " unanswered";
    }
}

TEST_F(Sequencer, ResendingStepsPrintTheirLineAndSendTheirFrame) {
    session.m_debug = 1;
    const struct {
        int step;
        unsigned int pf;
        const char* line;
    } cases[] = {
        {3, 0x72, "发送启动下载命令\n"},   {4, 0x74, "发送索要区间命令帧\n"},
        {7, 0x7A, "发送完成组包命令帧\n"}, {8, 0x7C, "发送程序校验数据帧\n"},
        {9, 0x7E, "发送立即复位命令帧\n"},
    };
    for (const auto& c : cases) {
        session.m_runstep = c.step;
        session.m_waittime = 10;
        session.working(1);
        EXPECT_TRUE(Frames().empty()) << c.step;
        testing::internal::CaptureStdout();
        session.working(2);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.line);
        const auto frames = Frames();
        ASSERT_EQ(frames.size(), 1U);
        EXPECT_EQ(PfOf(frames[0]), c.pf);
        EXPECT_EQ(session.m_waittime, 500);
        EXPECT_EQ(session.m_runstep, c.step);
        EXPECT_EQ(session.m_sendcount, 0U);
    }
}

TEST_F(Sequencer, FourthStartOfAGroupClosesTheJob) {
    session.m_debug = 1;
    AddGroup(1024, 256).sendcount = 3;
    session.m_runstep = 5;
    session.m_waittime = 0;
    testing::internal::CaptureStdout();
    session.working(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "发送启动组包命令帧\nsend count:3 countmax:3 packcout:256\n");
    EXPECT_EQ(session.m_runstep, -1);
    EXPECT_EQ(session.m_errorcode, 12);
    EXPECT_EQ(session.m_finished, 0);
    fakewait::Reset();
    session.working(2);
    EXPECT_EQ(session.m_finished, 1);
    EXPECT_EQ(fakewait::WaitedMs(), 2000);
}

TEST_F(Sequencer, EmptyCacheGoesStraightToTheProgramCheck) {
    session.m_debug = 1;
    session.m_runstep = 5;
    testing::internal::CaptureStdout();
    session.working(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "发送启动组包命令帧\n数据已经全部发送完毕\n");
    EXPECT_EQ(session.m_runstep, 8);
    EXPECT_TRUE(Frames().empty());
    session.working(2);
    EXPECT_EQ(PfOf(Frames().at(0)), 0x7CU);
}

TEST_F(Sequencer, DataStepWritesAPacketAndACommandInOneCall) {
    AddGroup(1024, 2);
    session.m_groupaddress = 1024;
    session.m_runstep = 6;
    session.m_debug = 0;
    session.working(100);
    const auto frames = Frames();
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(PfOf(frames[0]), 0x79U);
    EXPECT_EQ(PfOf(frames[1]), 0x70U);
    session.working(101);
    session.m_debug = 1;
    testing::internal::CaptureStdout();
    session.working(102);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "一组数据发送完毕\n");
    EXPECT_EQ(session.m_runstep, 7);
}

TEST_F(Sequencer, LostLinkLeavesTheTimerAndACommandGoesOutBeforeTheHeartbeat) {
    session.m_runstep = 3;
    session.m_waittime = 300;
    session.m_heartmiss = 4;
    session.working(1);
    EXPECT_EQ(session.m_runstep, 0);
    EXPECT_EQ(session.m_waittime, 290);

    session.m_runstep = 3;
    session.m_waittime = 0;
    session.working(100);
    EXPECT_EQ(PfOf(Frames().at(0)), 0x72U);
    session.working(101);
    EXPECT_EQ(PfOf(Frames().at(0)), 0x70U);
}

TEST_F(Sequencer, PaceIsTenMillisecondsAndSlowerWhenIdle) {
    fakewait::Reset();
    RunPasses(50);
    EXPECT_EQ(fakewait::WaitedMs(), 500);
    session.m_runstep = -2;
    RunPasses(10);
    EXPECT_EQ(fakewait::WaitedMs(), 500 + 1100);
    EXPECT_EQ(session.m_runstep, -2);
}

TEST_F(Sequencer, UnknownStepsDoNothingButTheHeartbeat) {
    session.m_runstep = 1;
    session.working(99);
    EXPECT_TRUE(Frames().empty());
    session.working(100);
    EXPECT_EQ(PfOf(Frames().at(0)), 0x70U);
    EXPECT_EQ(session.m_runstep, 1);
}

}  // namespace
