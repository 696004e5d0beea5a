// The sequencer, to the pass.
#include <map>
#include <string>
#include <vector>

#include "fakewait.h"
#include "printed.h"
#include "sessionfixture.h"

using namespace velmorin;

namespace {

using Pfs = std::vector<unsigned int>;
using Sent = std::map<unsigned int, Pfs>;

class Sequencer : public SessionFixture {
  protected:
    /// The PFs of the frames written since the last call; heartbeats among them are answered.
    Pfs Written() {
        Pfs pfs;
        for (const can_frame& frame : Frames()) {
            pfs.push_back(frame.can_id >> 16 & 0xFF);
            if (pfs.back() == 0x70 && answer_heartbeats) {
                Reply(0x71, {0x01, 0x10, frame.data[2], frame.data[3], 0, 0, 0, 0});
            }
        }
        return pfs;
    }

    /// Runs passes up to and including number `last`; which frames went out in which pass.
    Sent RunTo(unsigned int last) {
        Sent sent;
        while (session.m_loopcount < last) {
            session.Runloop();
            const Pfs pfs = Written();
            if (!pfs.empty()) sent[session.m_loopcount] = pfs;
        }
        return sent;
    }

    /// One call of the sequencer; returns what it printed.
    std::string Call(unsigned int pass) {
        return Printed([&] { session.working(pass); });
    }

    bool answer_heartbeats = true;
};

TEST_F(Sequencer, DownloadStartsAfterFourHeartbeats) {
    fakewait::Reset();
    EXPECT_EQ(RunTo(402), (Sent{{100, {0x70}}, {200, {0x70}}, {300, {0x70}}, {400, {0x70}}}));
    EXPECT_EQ(session.m_runstep, 3);
    EXPECT_EQ(fakewait::WaitedMs(), 4020);
    // Queued in the call that finds the timer run out, so once in 51 calls.
    EXPECT_EQ(RunTo(556), (Sent{{403, {0x72}}, {454, {0x72}}, {500, {0x70}}, {505, {0x72}}, {556, {0x72}}}));
}

TEST_F(Sequencer, SilentDeviceIsOfferedTheDownloadAllTheSame) {
    answer_heartbeats = false;
    session.m_debug = 1;
    Sent sent;
    EXPECT_EQ(Printed([&] { sent = RunTo(405); }), "heart beat timeout\n发送启动下载命令\n");
    EXPECT_EQ(sent, (Sent{{100, {0x70}}, {200, {0x70}}, {300, {0x70}}, {400, {0x70}}, {404, {0x72}}}));
    EXPECT_EQ(session.m_heartmiss, 0U);
}

TEST_F(Sequencer, LinkNeedsFourHeartbeatsWithOneUnansweredAndIsLostWithFour) {
    const struct {
        unsigned int sent, unanswered;
        int step, next, timer;
    } cases[] = {
        {4, 1, 0, 2, 0},  {3, 0, 0, 0, 30}, {4, 2, 0, 0, 30},
        {9, 3, 3, 3, 20}, {9, 4, 3, 0, 20}, {9, 4, 7, 0, 20},
    };
    for (const auto& c : cases) {
        session.m_runstep = c.step;
        session.m_heartseq = c.sent;
        session.m_heartmiss = c.unanswered;
        session.m_waittime = 30;
        session.working(1);
        EXPECT_EQ(session.m_runstep, c.next) << c.sent << " sent, " << c.unanswered << " unanswered";
        EXPECT_EQ(session.m_waittime, c.timer);
        EXPECT_EQ(session.m_heartmiss, c.unanswered == 4 ? 0 : c.unanswered);
    }
}

TEST_F(Sequencer, ResendingStepsPrintTheirLineAndSendTheirFrameBeforeTheHeartbeat) {
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
        EXPECT_EQ(Call(99), "");
        EXPECT_EQ(Written(), Pfs{});
        EXPECT_EQ(Call(100), c.line);
        EXPECT_EQ(Written(), Pfs{c.pf});
        EXPECT_EQ(session.m_waittime, 500);
        EXPECT_EQ(Call(101), "");
        EXPECT_EQ(Written(), Pfs{0x70});
        EXPECT_EQ(session.m_runstep, c.step);
        session.m_heartmiss = 0;
    }
}

TEST_F(Sequencer, FourthStartOfAGroupClosesTheJobAfterTwoSeconds) {
    session.m_debug = 1;
    AddGroup(1024, 256).sendcount = 3;
    session.m_runstep = 5;
    EXPECT_EQ(Call(1), "发送启动组包命令帧\nsend count:3 countmax:3 packcout:256\n");
    EXPECT_EQ(Written(), Pfs{});
    EXPECT_EQ(session.m_runstep, -1);
    EXPECT_EQ(session.m_errorcode, 12);
    EXPECT_EQ(session.m_finished, 0);
    fakewait::Reset();
    session.working(2);
    EXPECT_EQ(session.m_finished, 1);
    EXPECT_EQ(fakewait::WaitedMs(), 2000);
}

TEST_F(Sequencer, IdlePassesTakeATenthOfASecondMore) {
    session.m_runstep = -2;
    fakewait::Reset();
    RunPasses(10);
    EXPECT_EQ(fakewait::WaitedMs(), 1100);
    EXPECT_EQ(session.m_runstep, -2);
}

TEST_F(Sequencer, DataStepWritesAPacketAndACommandInOneCall) {
    s_addnode& confirmed = AddGroup(1024, 2);
    confirmed.state = 1;
    confirmed.dataqueue.clear();
    AddGroup(1024, 2);
    session.m_debug = 1;
    session.m_groupaddress = 1024;
    session.m_runstep = 6;
    EXPECT_EQ(Call(100), "packid:0 listadd:00000400 m:00000400\n");
    EXPECT_EQ(Written(), (Pfs{0x79, 0x70}));
    EXPECT_EQ(Call(101), "packid:1 listadd:00000400 m:00000400\n");
    EXPECT_EQ(Frames().at(0).data[3], 1);
    EXPECT_EQ(Call(102), "一组数据发送完毕\n");
    EXPECT_EQ(session.m_runstep, 7);
}

}  // namespace
