// One frame in: dispatch, short and malformed frames, multi-frame messages.
#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "printed.h"
#include "sessionfixture.h"

using namespace velmorin;

namespace {

class Receive : public SessionFixture {
  protected:
    using Outcome = std::pair<int, int>;  // result and kind

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

    std::string Pass() {
        return Printed([&] { RunPasses(1); });
    }

    const Outcome kPart{0, 250}, kRefused{1, 250};
    unsigned char data[1024]{};
};

TEST_F(Receive, SingleFramesKeepTheirLengthAndNothingBehindIt) {
    EXPECT_EQ(Read(), (Outcome{0, 0})) << "a quiet bus";
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
    const std::string start = "发送启动组包命令帧\n数据已经全部发送完毕\n", done = "一组数据发送完毕\n";
    const struct {
        unsigned int pf;
        std::initializer_list<unsigned char> bytes;
        std::array<int, 4> after;  // step, on which the sequencer has acted once, result, finished, timer
        std::string printed;
    } cases[] = {
        {0x08, {0, 0, 2}, {3, 77, 0, 0}, "Verson Check is passed\n"},
        {0x08, {0, 1, 2}, {-1, 8, 1, 30}, "Verson Check is not passed\n"},
        {0x08, {0, 0, 1}, {-1, 8, 1, 30}, "Verson Check is not passed\n"},
        {0x71, {1, 0x10, 0, 0}, {42, 77, 0, 30}, ""},
        {0x72, {1}, {42, 77, 0, 30}, ""},
        {0x73, {1, 0x10, 0x20, 0, 0, 1}, {4, 77, 0, 500}, "发送索要区间命令帧\n"},
        {0x73, {1, 0x10, 0x20, 3, 0, 1}, {-1, 10, 1, 0}, ""},
        {0x75, {1, 0x10, 0x20}, {-2, 77, 0, 30}, ""},
        {0x76, {1, 0x10, 0x20}, {8, 77, 0, 0}, start},
        {0x78, {1, 0x10, 0x20, 0x44, 0x33, 0x22, 0x11}, {7, 77, 0, 0}, "收到启动组包应答帧\n" + done},
        {0x78,
         {1, 0x10, 0x20, 0x44, 0x33, 0x22, 0x10},
         {7, 3, 0, 0},
         "收到启动组包应答帧\nCAN RCV start address error:send:0x11223344 rcv:0x10223344\n" + done},
        {0x7B, {1, 0x10, 0x20, 0x55}, {8, 77, 0, 0}, "check group checkcrc failed\n" + start},
        {0x7D, {1, 0x10, 0x20, 1}, {-2, 5, 1, 0}, ""},
        {0x7D, {1, 0x10, 0x20, 0}, {9, 0, 0, 500}, "发送立即复位命令帧\n"},
        {0x7F, {1, 0x10, 0x20, 0xAA}, {-2, 0, 1, 30}, ""},
    };
    session.m_debug = 1;
    session.m_startaddress = 0x11223344U;
    for (const auto& c : cases) {
        session.m_runstep = 42;
        session.m_errorcode = 77;
        session.m_finished = 0;
        session.m_waittime = 30;
        session.m_sendcount = 5;
        Reply(c.pf, c.bytes);
        char line[32];
        std::snprintf(line, sizeof line, "can ID:%02x m_runstep:42 \n", c.pf);
        EXPECT_EQ(Pass(), line + c.printed);
        const auto& s = session;
        EXPECT_EQ((std::array{s.m_runstep, s.m_errorcode, s.m_finished, s.m_waittime}), c.after) << line;
        EXPECT_EQ(s.m_sendcount, c.after[3] == 30 ? 5U : 0U) << "cleared with the timer: " << line;
    }
}

TEST_F(Receive, BytesBehindTheLengthReadAsZeros) {
    can_frame frame{};  // somebody's leftovers
    frame.can_id = 0x90738AE0U;
    frame.can_dlc = 3;
    std::memset(frame.data, 0xFF, 8);
    Send(frame);
    RunPasses(1);
    EXPECT_EQ(session.m_runstep, 4) << "accepted";
    EXPECT_EQ(session.m_crcplan, 0);
}

TEST_F(Receive, CollectsTheShortestAndTheLongestMessage) {
    EXPECT_EQ(Take(0x13, {1, 2, 8, 0, 0x10, 0x11, 0x12, 0x13}), kPart);
    // 8 + 0 + 2 + (0x10 + … + 0x17) = 0xA6
    EXPECT_EQ(Take(0x13, {2, 0x14, 0x15, 0x16, 0x17, 0xA6, 0x00, 0}), (Outcome{0, 0x13}));
    EXPECT_EQ(0, std::memcmp(data, "\x10\x11\x12\x13\x14\x15\x16\x17\xEE", 9));

    EXPECT_EQ(Take(0x61, {1, 37, 250, 0, 1, 1, 1, 1}), kPart);
    for (unsigned char s = 2; s <= 36; ++s) {
        ASSERT_EQ(Take(0x61, {s, 1, 1, 1, 1, 1, 1, 1}), kPart) << int{s};
    }
    // 249 bytes are in; one more, then 250 + 37 + 250 × 1 = 0x0219
    EXPECT_EQ(Take(0x61, {37, 1, 0x19, 0x02, 9, 9, 9, 9}), (Outcome{0, 0x61}));
    EXPECT_EQ(data[249], 1);
    EXPECT_EQ(data[250], 0xEE);
}

TEST_F(Receive, MessagesThatAreOutOfOrderOrWrongAreDropped) {
    const struct {
        std::initializer_list<unsigned char> bytes;
        Outcome outcome;
        int sequence;
    } story[] = {
        {{1, 2, 7, 0}, kRefused, 0},
        {{1, 37, 251, 0}, kRefused, 0},
        {{1, 2, 12, 0}, kRefused, 0},
        {{1, 3, 8, 0}, kRefused, 0},
        {{1, 2, 8, 1}, kRefused, 0},
        {{1, 2, 11, 0}, kPart, 1},
        {{3}, kPart, 0},
        {{1, 4, 20, 0}, kPart, 1},
        {{2}, kPart, 2},
        {{4}, kPart, 0},  // a gap
        {{2}, kPart, 0},  // a following frame of no message
        {{1, 2, 8, 0}, kPart, 1},
        {{1, 2, 8, 0}, kPart, 0},  // a first frame inside a message only clears
        {{1, 2, 8, 0}, kPart, 1},
        {{2, 0, 0, 0, 0, 99}, kPart, 2},  // a wrong checksum swallows the next first frame
        {{1, 2, 8, 0}, kPart, 0},
        {{1, 2, 8, 0}, kPart, 1},
        {{2, 0, 0, 0, 0, 10}, {0, 0x20}, 0},
        {{2, 0, 0, 0, 0, 10}, kPart, 0},
    };
    for (const auto& frame : story) {
        EXPECT_EQ(Take(0x20, frame.bytes), frame.outcome) << &frame - story;
        EXPECT_EQ(session.m_rxseq, frame.sequence) << &frame - story;
        EXPECT_EQ(session.m_rxpos, frame.sequence == 0 ? 0 : 7 * frame.sequence - 3) << &frame - story;
    }
}

TEST_F(Receive, FullBufferIsRefusedAndNothingActsOnAMessage) {
    session.m_debug = 1;
    Take(0x11, {1, 2, 8, 0, 0, 0, 0, 0});
    Reply(0x11, {2, 0, 0, 0, 0, 10, 0, 0});
    EXPECT_EQ(Pass(), "");
    EXPECT_EQ(session.m_rxseq + session.m_runstep, 0);

    Take(0x11, {1, 2, 8, 0, 0, 0, 0, 0});
    for (unsigned char s = 2; s <= 37; ++s) EXPECT_EQ(Take(0x11, {s, 9, 9, 9, 9, 9, 9, 9}), kPart);
    EXPECT_EQ(session.m_rxpos, 256);
    Reply(0x11, {38, 9, 9, 9, 9, 9, 9, 9});
    EXPECT_EQ(Pass(), "can ID:fa m_runstep:0 \n");
    EXPECT_EQ(session.m_rxpos, 0);
}

}  // namespace
