// Limits of the protocol itself, which no updater can mend: see docs/reliability.md. Each shows what becomes
// of the job.
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>

#include "membus.h"
#include "sessionwatch.h"

using namespace velmorin;

using membus::PfOf;
using membus::ReplyOf;
using membus::TheBus;

namespace {

/// A session with two groups of four packets, and the replies of a device that the test plays.
class Limits : public testing::Test {
  protected:
    Limits() {
        membus::Attach(session);
        membus::AddGroup(session, 1024, 4);
        membus::AddGroup(session, 2048, 4);
        watch.emplace(session);
        testing::internal::CaptureStdout();
    }
    ~Limits() override {
        const std::string printed = testing::internal::GetCapturedStdout();
        if (HasFailure()) std::puts(printed.c_str());
    }

    static void Reply(unsigned int pf, unsigned char status = 0) { TheBus().Deliver(ReplyOf(pf, status)); }

    /// Runs passes and answers each heartbeat, unless the device is mute. Counts what the session sends.
    void Run(int passes) {
        for (; passes > 0 && session.m_finished != 1; --passes) {
            ASSERT_EQ(watch->Pass(session), "");
            for (const can_frame& frame : TheBus().written) {
                ++sent[PfOf(frame)];
                if (PfOf(frame) == 0x70 && !mute) membus::SayYes(frame);
            }
        }
    }

    void RunUntilSent(unsigned int pf) {
        const int before = sent[pf];
        for (int i = 0; i < 1000 && sent[pf] == before; ++i) Run(1);
        ASSERT_EQ(sent[pf], before + 1);
    }

    void ComeToGoAhead() {
        RunUntilSent(0x72);
        Reply(0x73);
        RunUntilSent(0x74);
        Reply(0x75);
    }

    void ComeToGroups() {
        ComeToGoAhead();
        Reply(0x76);
        RunUntilSent(0x77);
    }

    void ExpectEnded(int with) const {
        EXPECT_EQ(session.m_finished, 1);
        EXPECT_EQ(session.m_errorcode, with);
    }

    canframe session;
    std::optional<SessionWatch> watch;
    int sent[256] = {};
    bool mute = false;
};

TEST_F(Limits, VerdictGivenTwiceConfirmsAGroupThatWasNeverSentAndTheProgramCheckRefusesTheImage) {
    ComeToGroups();
    Reply(0x78);
    RunUntilSent(0x7A);
    RunUntilSent(0x7A);  // half a second without a verdict
    Reply(0x7B, 0xAA);
    Reply(0x7B, 0xAA);  // the device answered both
    Run(3);
    EXPECT_EQ(session.m_addlist.back().state, 1);
    EXPECT_EQ(sent[0x79], 4) << "of eight";
    RunUntilSent(0x7C);
    Reply(0x7D, 1);
    Run(1);
    ExpectEnded(5);
}

TEST_F(Limits, LostGoAheadIsNeverAskedForWhileTheHeartbeatsAreAnswered) {
    ComeToGoAhead();
    Run(5000);
    EXPECT_EQ(session.m_runstep, -2);
    EXPECT_EQ(session.m_finished, 0);
    EXPECT_EQ(sent[0x74], 1);
    EXPECT_EQ(sent[0x77], 0);

    mute = true;
    RunUntilSent(0x72);  // a lost link starts over
    EXPECT_EQ(session.m_finished, 0);
}

TEST_F(Limits, EveryResendOfAGroupStartCountsAsAStart) {
    ComeToGroups();
    Run(200);
    ExpectEnded(12);
    EXPECT_EQ(sent[0x77], 3);
    EXPECT_EQ(sent[0x79], 0) << "the group was never sent";
}

TEST_F(Limits, DeviceThatForgotTheDownloadIsNotToldAgainWhileItAnswersHeartbeats) {
    ComeToGroups();
    Reply(0x78);
    RunUntilSent(0x7A);
    Run(5000);  // it was started anew within four seconds and knows of no group
    EXPECT_EQ(session.m_runstep, 7);
    EXPECT_EQ(sent[0x72], 1);
    EXPECT_EQ(session.m_finished, 0);
}

TEST_F(Limits, AnybodysResetReplyEndsTheJobAsASuccess) {
    ComeToGroups();
    Reply(0x7F, 0xAA);
    Run(1);
    ExpectEnded(0);
    EXPECT_EQ(sent[0x79], 0) << "nothing of the image was sent";
}

TEST_F(Limits, AnybodysProgramCheckReplyLeadsToTheReset) {
    ComeToGroups();
    Reply(0x7D, 0);
    Run(2);
    EXPECT_EQ(sent[0x7E], 1);
    EXPECT_EQ(session.m_finished, 0) << "only the reset's reply ends the job";
}

TEST_F(Limits, EndingCodeGivesWayToAReplyInItsLastPass) {
    ComeToGroups();
    while (session.m_runstep != -1) Run(1);
    EXPECT_EQ(session.m_errorcode, 12);
    Reply(0x71, 0);  // another sequence number than the last heartbeat's
    Run(1);
    ExpectEnded(1);  // the last code set is recorded, and it is not a success
}

TEST_F(Limits, FloodOfRepliesLetsUnansweredHeartbeatsPileUpUntilItIsOver) {
    RunUntilSent(0x72);
    mute = true;
    for (int i = 0; i < 2000; ++i) {
        Reply(0x73);
        Run(1);
    }
    EXPECT_EQ(session.m_mailbox.size(), 20U);
    Reply(0x75);
    Run(20);
    EXPECT_EQ(session.m_mailbox.size(), 0U);
}

}  // namespace
