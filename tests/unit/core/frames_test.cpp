// Every command's bytes, every reply's effects.
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "printed.h"
#include "sessionfixture.h"

using namespace velmorin;

namespace {

using Bytes = std::array<unsigned char, 8>;
using Handler = void (canframe::*)(const unsigned char*);

class Frames : public SessionFixture {
  protected:
    template <typename Frame>
    static Bytes DataOf(const Frame& frame) {
        Bytes bytes{};
        std::memcpy(bytes.data(), frame.data, bytes.size());
        return bytes;
    }

    /// Calls a handler and returns what it printed.
    std::string Deal(Handler handler, const Bytes& data) {
        return Printed([&] { (session.*handler)(data.data()); });
    }
};

constexpr char kStranger[] = "can mark and dev type is not same\n";

TEST_F(Frames, CommandsGoOutOneACallInTheirOrderByteForByte) {
    session.m_canport = 0x101;  // only the low bytes go out
    session.m_chargeaddress = 0x1E0;
    session.m_devtype = 0x210;
    session.m_updateaddress = 0x320;
    session.m_funcindex = 0x405;
    session.m_groupcrc = 0xA1B2C3D4U;
    session.m_crcA = 0x11223344U;
    session.m_crcB = 0x55667788U;
    session.m_filesize = 0x1234;
    struct Case {
        tagCAN_MailBox command;
        canid_t identifier;
        Bytes data;
    };
    std::vector<Case> cases = {
        {session.Build1792(), 0x9807E08AU, {0x01, 0x20, 0x01}},
        {session.Build28672(), 0x9070E08AU, {0x01, 0x10, 0, 0}},
        {session.Build29184(), 0x9072E08AU, {0x01, 0x10, 0x20, 0x05}},
        {session.Build29696(), 0x9074E08AU, {0x01, 0x10, 0x20}},
        {session.Build31232(), 0x907AE08AU, {0x01, 0x10, 0x20, 0xD4, 0xC3, 0xB2, 0xA1}},
        {session.Build31744(), 0x907CE08AU, {0x01, 0x10, 0x20, 0x88, 0x77, 0x66, 0x55}},
        {session.Build32256(), 0x907EE08AU, {0x01, 0x10, 0x20, 0xAA}},
    };
    session.m_firewaretype = session.m_crcplan = 1;
    cases.push_back({session.Build29696(), 0x9074E08AU, {0x01, 0x10, 0x20, 0x34, 0x12}});
    cases.push_back({session.Build31744(), 0x907CE08AU, {0x01, 0x10, 0x20, 0x44, 0x33, 0x22, 0x11}});
    session.m_crcplan = 0xFF;
    cases.push_back({session.Build31744(), 0x907CE08AU, {0x01, 0x10, 0x20, 0x88, 0x77, 0x66, 0x55}});

    for (const auto& c : cases) session.m_mailbox.push_back(c.command);
    for (const auto& c : cases) {
        session.SendMessageEvent();
        const auto frame = NextFrame();
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->can_id, c.identifier);
        EXPECT_EQ(frame->can_dlc, 8);
        EXPECT_EQ(DataOf(*frame), c.data) << c.identifier;
        EXPECT_FALSE(NextFrame());
    }
    session.SendMessageEvent();
    EXPECT_FALSE(NextFrame());
}

TEST_F(Frames, HeartbeatNumbersWrapAndTheirRepliesClearTheMisses) {
    session.m_heartseq = 65535;
    EXPECT_EQ(DataOf(session.Build28672()), (Bytes{0x01, 0x10, 0xFF, 0xFF}));
    tagCAN_MailBox heartbeat{};
    EXPECT_EQ(Printed([&] { heartbeat = session.Build28672(); }), "update failed\n");
    EXPECT_EQ(DataOf(heartbeat), (Bytes{0x01, 0x10, 0, 0}));
    EXPECT_EQ(session.m_heartlast, 0U);
    EXPECT_EQ(DataOf(session.Build28672()), (Bytes{0x01, 0x10, 1, 0}));
    EXPECT_EQ(session.m_heartmiss, 3U);

    session.m_heartlast = 0x1220;
    EXPECT_EQ(Deal(&canframe::Deal28928, {0x01, 0xFF, 0x20, 0x12}), "");
    EXPECT_EQ(session.m_errorcode, 0);
    EXPECT_EQ(session.m_heartmiss, 0U);
    session.m_heartmiss = 2;
    EXPECT_EQ(Deal(&canframe::Deal28928, {0xFF, 0xFF, 0x20, 0x13}), kStranger) << "byte 2 is no address";
    EXPECT_EQ(session.m_errorcode, 1);
    EXPECT_EQ(session.m_heartmiss, 0U);
}

TEST_F(Frames, GroupStartTakesTheFirstUnconfirmedGroupThreeTimes) {
    AddGroup(1024, 256).state = 1;
    session.m_addlist.front().dataqueue.clear();
    s_addnode& group = AddGroup(0x08001000U, 256);
    group.crc32A = 0xAAAAAAAAU;
    group.crc32B = 0xBBBBBBBBU;
    session.m_packid = 77;
    session.m_crcplan = 2;  // any but 1 is plan B
    int result = 0;
    tagCAN_MailBox command{};
    const auto build = [&] { command = session.Build30464(result); };

    EXPECT_EQ(Printed(build),
              "send count:0 countmax:3 packcout:256\ngroupaddress:08001000 crc32B:bbbbbbbb\n");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(command.priority, 4);
    EXPECT_EQ(command.pf, 0x77);
    EXPECT_EQ(DataOf(command), (Bytes{0x01, 0x10, 0x20, 0x00, 0x10, 0x00, 0x08, 0}));
    EXPECT_EQ(session.m_packid, 0);
    EXPECT_EQ(session.m_groupaddress, 0x08001000U);
    EXPECT_EQ(session.m_startaddress, 0x08001000U);
    EXPECT_EQ(session.m_groupcrc, 0xBBBBBBBBU);

    session.m_crcplan = 1;
    EXPECT_EQ(Printed(build),
              "send count:1 countmax:3 packcout:256\ngroupaddress:08001000 crc32A:aaaaaaaa\n");
    Printed(build);
    EXPECT_EQ(session.m_groupcrc, 0xAAAAAAAAU);
    EXPECT_EQ(result, 1);
    session.m_packid = 77;
    EXPECT_EQ(Printed(build), "send count:3 countmax:3 packcout:256\n");
    EXPECT_EQ(result, -2);
    EXPECT_EQ(session.m_packid, 77) << "a start that is not sent changes nothing";
    EXPECT_EQ(group.sendcount, 3);
}

TEST_F(Frames, GroupsThatTheirCallerOpensOrFillsAgainAreFound) {
    for (const unsigned int address : {1U, 2U, 3U, 4U}) AddGroup(address, 300).state = 1;
    int result = 0;
    Printed([&] { session.Build30464(result); });
    EXPECT_EQ(result, 0);
    auto second = std::next(session.m_addlist.begin());
    second->state = 0;
    Printed([&] { session.Build30464(result); });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(session.m_groupaddress, 2U);
    session.m_groupaddress = 3;  // confirmed, and holds packets again, more than a whole group has
    int sent = 0;
    while (session.SendMessageEventV2() == 0) ++sent, NextFrame();
    EXPECT_EQ(sent, 300);
}

TEST_F(Frames, StrangersAddressBytesAreReportedAndSometimesRecorded) {
    const struct {
        Handler handler;
        unsigned char status;
        int error;  // 9: left alone
    } cases[] = {
        {&canframe::Deal29440, 0, 9}, {&canframe::Deal29952, 0, 9},    {&canframe::Deal30208, 0, 9},
        {&canframe::Deal30720, 0, 2}, {&canframe::Deal31488, 0x55, 2}, {&canframe::Deal32000, 0, 0},
        {&canframe::Deal32512, 0, 7}, {&canframe::Deal32512, 0xAA, 6},
    };
    for (const auto& c : cases) {
        session.m_errorcode = 9;
        EXPECT_EQ(Deal(c.handler, {0xF1, 0xF2, 0xF3, c.status}), kStranger);
        EXPECT_EQ(session.m_errorcode, c.error);
    }

    session.m_errorcode = 0;  // one byte that matches is enough
    for (const Bytes& data : {Bytes{0x01, 0xF2, 0xF3}, Bytes{0xF1, 0x10, 0xF3}, Bytes{0xF1, 0xF2, 0x20}}) {
        EXPECT_EQ(Deal(&canframe::Deal30720, data), "");
    }
    EXPECT_EQ(session.m_errorcode, 0);
    session.m_canport = 0x101;  // no byte can equal it
    EXPECT_EQ(Deal(&canframe::Deal30720, {0x01, 0xF2, 0xF3}), kStranger);
}

TEST_F(Frames, StartReplyChoosesThePlan) {
    for (const int plan : {1, 0, 2, 0xFF}) {
        Deal(&canframe::Deal29440, {0x01, 0x10, 0x20, 9, 1, static_cast<unsigned char>(plan)});
        EXPECT_EQ(session.m_crcplan, plan);
        EXPECT_EQ(session.m_startack, 9);
        EXPECT_EQ(session.m_startacked, 1);
    }
}

TEST_F(Frames, VerdictsConfirmTheGroupAndGiveTheNextItsAddress) {
    session.m_debug = 1;
    s_addnode& first = AddGroup(1024, 4);
    s_addnode& second = AddGroup(2048, 4);
    Deal(&canframe::Deal29952, {0x01, 0x10, 0x20, 0, 0x78, 0x56, 0x34, 0x12});
    EXPECT_EQ(first.address, 0x12345678U);
    EXPECT_EQ(first.addrstate, 1);
    EXPECT_EQ(second.address, 2048U);

    session.m_groupaddress = 0x12345678U;
    EXPECT_EQ(Deal(&canframe::Deal31488, {0x01, 0x10, 0x20, 0x55, 1}), "check group checkcrc failed\n");
    EXPECT_EQ(session.m_errorcode, 0);
    EXPECT_EQ(Deal(&canframe::Deal31488, {0x01, 0x10, 0x20, 0x66, 1}), "check group erase failed\n");
    EXPECT_EQ(session.m_errorcode, 4);
    session.m_groupaddress = 0xDEAD;  // nobody's: only the address is given, the same again
    const Bytes right = {0x01, 0x10, 0x20, 0xAA, 0x78, 0x56, 0x34, 0x12};
    EXPECT_EQ(Deal(&canframe::Deal31488, right), "check group checkcrc sucessfull\n");
    EXPECT_EQ(first.state, 0);
    EXPECT_EQ(second.address, 0x12345678U);

    session.m_groupaddress = 0x12345678U;
    Deal(&canframe::Deal31488, right);
    EXPECT_EQ(first.state, 1);
    EXPECT_TRUE(first.dataqueue.empty());
    EXPECT_EQ(second.state, 0);
    Deal(&canframe::Deal31488, right);
    EXPECT_EQ(second.state, 1) << "of two groups with one address the unconfirmed one is meant";

    AddGroup(1, 1).state = 1;  // all of an address confirmed: its first group is meant
    session.m_groupaddress = 1;
    Deal(&canframe::Deal31488, right);
    EXPECT_TRUE(session.m_addlist.back().dataqueue.empty());

    // A group that still waits is confirmed under its old address before it takes the new one.
    s_addnode& third = AddGroup(4096, 4);
    session.m_groupaddress = 4096;
    Deal(&canframe::Deal31488, right);
    EXPECT_EQ(third.state, 1);
    EXPECT_EQ(third.address, 0x12345678U);
}

}  // namespace
