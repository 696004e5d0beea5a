// One frame in: dispatch, short and malformed frames, multi-frame messages.
#include <cstring>
#include <string>

#include "sessionfixture.h"

namespace {

class Receive : public SessionFixture {
  protected:
    struct Outcome {
        int result, kind;
        bool operator==(const Outcome&) const = default;
    };

    Outcome Read() {
        int kind = -1;
        std::memset(data, 0xEE, sizeof data);
        const int result = session.RecieveCanMuchData(data, &kind);
        return {result, kind};
    }

    Outcome Take(unsigned int pf, std::initializer_list<unsigned char> bytes) {
        Reply(pf, bytes);
        return Read();
    }

    unsigned char data[1024]{};
};

TEST_F(Receive, QuietBusIsNoFrame) {
    EXPECT_EQ(Read(), (Outcome{0, 0}));
}

TEST_F(Receive, SingleFramesKeepTheirLengthAndNothingBehindIt) {
    EXPECT_EQ(Take(0x73, {1, 2, 3}), (Outcome{3, 0x73}));
    EXPECT_EQ(data[2], 3);
    EXPECT_EQ(data[3], 0xEE) << "only the frame's own bytes are copied";
    EXPECT_EQ(Take(0x76, {}), (Outcome{0, 0x76}));

    can_frame long_frame{};
    long_frame.can_id = 0x90738AE0U;
    long_frame.can_dlc = 15;
    Send(long_frame);
    EXPECT_EQ(Read(), (Outcome{8, 0x73}));
    EXPECT_EQ(data[8], 0xEE);
}

TEST_F(Receive, RepliesMoveTheStepFromWhereverItIs) {
    // The step after the pass: the sequencer has acted once on the one that the reply led to.
    const struct {
        unsigned int pf;
        std::initializer_list<unsigned char> bytes;
        int step, error, finished, waittime;
        const char* printed;
    } cases[] = {
        {0x08, {0, 0, 2}, 3, 77, 0, 0, "can ID:08 m_runstep:42 \nVerson Check is passed\n"},
        {0x08, {0, 1, 2}, -1, 8, 1, 30, "can ID:08 m_runstep:42 \nVerson Check is not passed\n"},
        {0x08, {0, 0, 1}, -1, 8, 1, 30, "can ID:08 m_runstep:42 \nVerson Check is not passed\n"},
        {0x71, {1, 0x10, 0, 0}, 42, 77, 0, 30, "can ID:71 m_runstep:42 \n"},
        {0x73, {1, 0x10, 0x20, 0, 0, 1}, 4, 77, 0, 500, "can ID:73 m_runstep:42 \n发送索要区间命令帧\n"},
        {0x73, {1, 0x10, 0x20, 3, 0, 1}, -1, 10, 1, 0, "can ID:73 m_runstep:42 \n"},
        {0x75, {1, 0x10, 0x20}, -2, 77, 0, 30, "can ID:75 m_runstep:42 \n"},
        {0x76,
         {1, 0x10, 0x20},
         8,
         77,
         0,
         0,
         "can ID:76 m_runstep:42 \n发送启动组包命令帧\n数据已经全部发送完毕\n"},
        {0x78,
         {1, 0x10, 0x20},
         7,
         77,
         0,
         0,
         "can ID:78 m_runstep:42 \n收到启动组包应答帧\n一组数据发送完毕\n"},
        {0x7B,
         {1, 0x10, 0x20, 0x55},
         8,
         77,
         0,
         0,
         "can ID:7b m_runstep:42 \ncheck group checkcrc failed\n发送启动组包命令帧\n数据已经全部发送完毕\n"},
        {0x7D, {1, 0x10, 0x20, 1}, -2, 5, 1, 0, "can ID:7d m_runstep:42 \n"},
        {0x7D, {1, 0x10, 0x20, 0}, 9, 0, 0, 500, "can ID:7d m_runstep:42 \n发送立即复位命令帧\n"},
        {0x7F, {1, 0x10, 0x20, 0xAA}, -2, 0, 1, 30, "can ID:7f m_runstep:42 \n"},
        {0x72, {1}, 42, 77, 0, 30, "can ID:72 m_runstep:42 \n"},
    };
    session.m_debug = 1;
    for (const auto& c : cases) {
        session.m_runstep = 42;
        session.m_errorcode = 77;
        session.m_finished = 0;
        session.m_waittime = 30;
        session.m_sendcount = 5;
        Reply(c.pf, c.bytes);
        testing::internal::CaptureStdout();
        RunPasses(1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed);
        EXPECT_EQ(session.m_runstep, c.step) << c.printed;
        EXPECT_EQ(session.m_errorcode, c.error) << c.printed;
        EXPECT_EQ(session.m_finished, c.finished) << c.printed;
        EXPECT_EQ(session.m_waittime, c.waittime) << c.printed;
        EXPECT_EQ(session.m_sendcount, c.waittime == 30 ? 5U : 0U) << "cleared with the timer: " << c.printed;
    }
}

TEST_F(Receive, EchoOfAnotherAddressIsReportedBehindTheReplyItself) {
    session.m_debug = 1;
    session.m_startaddress = 1;
    Reply(0x78, {1, 0x10, 0x20, 2});
    testing::internal::CaptureStdout();
    RunPasses(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "can ID:78 m_runstep:0 \n收到启动组包应答帧\n"
              "CAN RCV start address error:send:0x00000001 rcv:0x00000002\n一组数据发送完毕\n");
}

TEST_F(Receive, RepliesWithoutDataActOnZeros) {
    AddGroup(1024, 1);
    Reply(0x75, {});
    RunPasses(1);
    EXPECT_EQ(session.m_addlist.front().address, 0U);
    EXPECT_EQ(session.m_runstep, -2);
    can_frame frame{};  // bytes behind the length are somebody's leftovers
    frame.can_id = 0x90738AE0U;
    frame.can_dlc = 3;
    std::memset(frame.data, 0xFF, 8);
    Send(frame);
    RunPasses(1);
    EXPECT_EQ(session.m_startack, 0);
    EXPECT_EQ(session.m_crcplan, 0);
}

// Payloads count up from 0x10; the checksum is written out by hand.
TEST_F(Receive, CollectsAMessageOfTwoFrames) {
    EXPECT_EQ(Take(0x13, {1, 2, 8, 0, 0x10, 0x11, 0x12, 0x13}), (Outcome{0, 250}));
    // 8 + 0 + 2 + (0x10 + … + 0x17) = 0xA6
    EXPECT_EQ(Take(0x13, {2, 0x14, 0x15, 0x16, 0x17, 0xA6, 0x00, 0}), (Outcome{0, 0x13}));
    EXPECT_EQ(0, std::memcmp(data, "\x10\x11\x12\x13\x14\x15\x16\x17\xEE", 9));
    EXPECT_EQ(session.m_rxseq, 0);
}

TEST_F(Receive, CollectsTheLongestMessage) {
    EXPECT_EQ(Take(0x61, {1, 37, 250, 0, 1, 1, 1, 1}), (Outcome{0, 250}));
    for (unsigned char s = 2; s <= 36; ++s) {
        ASSERT_EQ(Take(0x61, {s, 1, 1, 1, 1, 1, 1, 1}), (Outcome{0, 250})) << int{s};
    }
    // 249 bytes are in; one more, then 250 + 37 + 250 × 1 = 0x0219
    EXPECT_EQ(Take(0x61, {37, 1, 0x19, 0x02, 9, 9, 9, 9}), (Outcome{0, 0x61}));
    EXPECT_EQ(data[249], 1);
    EXPECT_EQ(data[250], 0xEE);
}

TEST_F(Receive, RefusesImpossibleFirstFrames) {
    for (const auto& [frames, low, high] :
         {std::array{2, 7, 0}, {37, 251, 0}, {2, 12, 0}, {3, 8, 0}, {2, 8, 1}}) {
        EXPECT_EQ(Take(0x11, {1, static_cast<unsigned char>(frames), static_cast<unsigned char>(low),
                              static_cast<unsigned char>(high), 0, 0, 0, 0}),
                  (Outcome{1, 250}))
            << low;
        EXPECT_EQ(session.m_rxseq + session.m_rxframes + session.m_rxlength, 0);
    }
}

TEST_F(Receive, GapsAndRepeatsDropTheMessage) {
    Take(0x20, {1, 4, 20, 0, 0, 0, 0, 0});
    Take(0x20, {2, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(Take(0x20, {4, 0, 0, 0, 0, 0, 0, 0}), (Outcome{0, 250}));
    EXPECT_EQ(session.m_rxseq, 0);
    EXPECT_EQ(Take(0x20, {2, 0, 0, 0, 0, 0, 0, 0}), (Outcome{0, 250})) << "a following frame of no message";
    Take(0x20, {1, 2, 8, 0, 0, 0, 0, 0});
    EXPECT_EQ(session.m_rxseq, 1);
    Take(0x20, {1, 2, 8, 0, 0, 0, 0, 0});
    EXPECT_EQ(session.m_rxseq, 0) << "a first frame inside a message only clears";
}

TEST_F(Receive, WrongChecksumSwallowsTheNextFirstFrame) {
    Take(0x11, {1, 2, 8, 0, 0, 0, 0, 0});
    EXPECT_EQ(Take(0x11, {2, 0, 0, 0, 0, 99, 0, 0}), (Outcome{0, 250}));
    EXPECT_EQ(session.m_rxseq, 2);
    EXPECT_EQ(Take(0x11, {1, 2, 8, 0, 0, 0, 0, 0}), (Outcome{0, 250}));
    EXPECT_EQ(session.m_rxseq, 0);
    Take(0x11, {1, 2, 8, 0, 0, 0, 0, 0});
    EXPECT_EQ(Take(0x11, {2, 0, 0, 0, 0, 10, 0, 0}), (Outcome{0, 0x11}));
}

TEST_F(Receive, FullBufferIsRefused) {
    Take(0x11, {1, 2, 8, 0, 0, 0, 0, 0});
    for (unsigned char s = 2; s <= 37; ++s) EXPECT_EQ(Take(0x11, {s, 9, 9, 9, 9, 9, 9, 9}).result, 0);
    EXPECT_EQ(session.m_rxpos, 256);
    EXPECT_EQ(Take(0x11, {38, 9, 9, 9, 9, 9, 9, 9}), (Outcome{1, 250}));
    EXPECT_EQ(session.m_rxpos, 0);
}

TEST_F(Receive, CompletedMessagesAndTraceOfRefusedOnesChangeNothing) {
    session.m_debug = 1;
    Reply(0x11, {1, 9, 8, 0, 0, 0, 0, 0});
    testing::internal::CaptureStdout();
    RunPasses(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "can ID:fa m_runstep:0 \n");
    Reply(0x11, {1, 2, 8, 0, 0, 0, 0, 0});
    Reply(0x11, {2, 0, 0, 0, 0, 10, 0, 0});
    testing::internal::CaptureStdout();
    RunPasses(2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(session.m_runstep, 0);
}

}  // namespace
