// Every command's bytes, every reply's effects.
#include <array>
#include <cstring>
#include <string>

#include "sessionfixture.h"

namespace {

using Bytes = std::array<unsigned char, 8>;

class Frames : public SessionFixture {
  protected:
    static Bytes DataOf(const tagCAN_MailBox& command) {
        Bytes bytes{};
        std::memcpy(bytes.data(), command.data, bytes.size());
        return bytes;
    }

    /// Calls a handler and returns what it printed.
    std::string Deal(void (canframe::*handler)(const unsigned char*), const Bytes& data) {
        testing::internal::CaptureStdout();
        (session.*handler)(data.data());
        return testing::internal::GetCapturedStdout();
    }
};

constexpr char kStranger[] = "can mark and dev type is not same\n";

TEST_F(Frames, CommandsCarryTheirBytes) {
    session.m_canport = 0x101;  // only the low bytes go out
    session.m_devtype = 0x210;
    session.m_updateaddress = 0x320;
    session.m_funcindex = 0x405;
    session.m_groupcrc = 0xA1B2C3D4U;
    session.m_crcA = 0x11223344U;
    session.m_crcB = 0x55667788U;
    session.m_filesize = 0x1234;

    const struct {
        tagCAN_MailBox command;
        unsigned int priority, pf;
        Bytes data;
    } cases[] = {
        {session.Build1792(), 6, 0x07, {0x01, 0x20, 0x01, 0, 0, 0, 0, 0}},
        {session.Build29184(), 4, 0x72, {0x01, 0x10, 0x20, 0x05, 0, 0, 0, 0}},
        {session.Build29696(), 4, 0x74, {0x01, 0x10, 0x20, 0, 0, 0, 0, 0}},
        {session.Build31232(), 4, 0x7A, {0x01, 0x10, 0x20, 0xD4, 0xC3, 0xB2, 0xA1, 0}},
        {session.Build31744(), 4, 0x7C, {0x01, 0x10, 0x20, 0x88, 0x77, 0x66, 0x55, 0}},
        {session.Build32256(), 4, 0x7E, {0x01, 0x10, 0x20, 0xAA, 0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.command.priority, c.priority) << c.pf;
        EXPECT_EQ(c.command.pf, c.pf);
        EXPECT_EQ(c.command.len, 8) << c.pf;
        EXPECT_EQ(DataOf(c.command), c.data) << c.pf;
    }

    session.m_firewaretype = 1;
    session.m_crcplan = 1;
    EXPECT_EQ(DataOf(session.Build29696()), (Bytes{0x01, 0x10, 0x20, 0x34, 0x12, 0, 0, 0}));
    EXPECT_EQ(DataOf(session.Build31744()), (Bytes{0x01, 0x10, 0x20, 0x44, 0x33, 0x22, 0x11, 0}));
    session.m_crcplan = 0xFF;
    EXPECT_EQ(DataOf(session.Build31744()), (Bytes{0x01, 0x10, 0x20, 0x88, 0x77, 0x66, 0x55, 0}));
}

TEST_F(Frames, HeartbeatNumbersWrapAfterSixteenBits) {
    session.m_heartseq = 65535;
    EXPECT_EQ(DataOf(session.Build28672()), (Bytes{0x01, 0x10, 0xFF, 0xFF, 0, 0, 0, 0}));
    testing::internal::CaptureStdout();
    EXPECT_EQ(DataOf(session.Build28672()), (Bytes{0x01, 0x10, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "update failed\n");
    EXPECT_EQ(session.m_heartlast, 0U);
    EXPECT_EQ(DataOf(session.Build28672()), (Bytes{0x01, 0x10, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(session.m_heartmiss, 3U);
}

TEST_F(Frames, GroupStartTakesTheFirstUnconfirmedGroupThreeTimes) {
    AddGroup(1024, 256).state = 1;
    session.m_addlist.front().dataqueue.clear();
    s_addnode& group = AddGroup(0x08001000U, 256);
    group.crc32A = 0xAAAAAAAAU;
    group.crc32B = 0xBBBBBBBBU;
    session.m_packid = 77;
    int result = 0;

    testing::internal::CaptureStdout();
    const tagCAN_MailBox command = session.Build30464(result);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "send count:0 countmax:3 packcout:256\ngroupaddress:08001000 crc32B:bbbbbbbb\n");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(command.pf, 0x77);
    EXPECT_EQ(DataOf(command), (Bytes{0x01, 0x10, 0x20, 0x00, 0x10, 0x00, 0x08, 0}));
    EXPECT_EQ(session.m_packid, 0);
    EXPECT_EQ(session.m_groupaddress, 0x08001000U);
    EXPECT_EQ(session.m_startaddress, 0x08001000U);
    EXPECT_EQ(session.m_groupcrc, 0xBBBBBBBBU);

    session.m_crcplan = 1;
    testing::internal::CaptureStdout();
    session.Build30464(result);
    session.Build30464(result);
    EXPECT_EQ(result, 1);
    session.m_groupcrc = 0;
    session.m_packid = 77;
    session.Build30464(result);
    EXPECT_EQ(result, -2);
    EXPECT_EQ(session.m_packid, 77);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "send count:1 countmax:3 packcout:256\ngroupaddress:08001000 crc32A:aaaaaaaa\n"
              "send count:2 countmax:3 packcout:256\ngroupaddress:08001000 crc32A:aaaaaaaa\n"
              "send count:3 countmax:3 packcout:256\n");
    EXPECT_EQ(group.sendcount, 3);
    EXPECT_EQ(session.m_groupcrc, 0U);

    group.state = 1;
    testing::internal::CaptureStdout();
    session.Build30464(result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(Frames, HeartbeatReplyClearsTheMissesAndChecksTheNumber) {
    session.m_heartlast = 0x1234;
    session.m_heartmiss = 3;
    EXPECT_EQ(Deal(&canframe::Deal28928, {0x01, 0x10, 0x34, 0x12}), "");
    EXPECT_EQ(session.m_errorcode, 0);
    EXPECT_EQ(session.m_heartmiss, 0U);
    session.m_heartmiss = 2;
    EXPECT_EQ(Deal(&canframe::Deal28928, {0x01, 0xFF, 0x34, 0x13}), "");
    EXPECT_EQ(session.m_errorcode, 1);
    EXPECT_EQ(session.m_heartmiss, 0U);
    EXPECT_EQ(Deal(&canframe::Deal28928, {0xFF, 0xFF, 0x34, 0x12, 0, 0, 0, 0}), kStranger);
}

TEST_F(Frames, AddressBytesOfAStrangerAreReportedAndSometimesRecorded) {
    const Bytes stranger{0xF1, 0xF2, 0xF3, 0, 0, 0, 0, 0};
    for (auto handler : {&canframe::Deal29440, &canframe::Deal29952, &canframe::Deal30208}) {
        EXPECT_EQ(Deal(handler, stranger), kStranger);
        EXPECT_EQ(session.m_errorcode, 0);
    }
    EXPECT_EQ(Deal(&canframe::Deal30720, stranger), kStranger);
    EXPECT_EQ(session.m_errorcode, 2);
    session.m_errorcode = 0;
    Bytes refused = stranger;
    refused[3] = 0x55;
    EXPECT_EQ(Deal(&canframe::Deal31488, refused), kStranger);
    EXPECT_EQ(session.m_errorcode, 2);
    EXPECT_EQ(Deal(&canframe::Deal32000, stranger), kStranger);
    EXPECT_EQ(session.m_errorcode, 0) << "the verdict replaces the 2";
    EXPECT_EQ(Deal(&canframe::Deal32512, stranger), kStranger);
    EXPECT_EQ(session.m_errorcode, 7);

    // One byte that matches is enough.
    session.m_errorcode = 0;
    for (const Bytes& data : {Bytes{0x01, 0xF2, 0xF3}, Bytes{0xF1, 0x10, 0xF3}, Bytes{0xF1, 0xF2, 0x20}}) {
        EXPECT_EQ(Deal(&canframe::Deal30720, data), "");
    }
    EXPECT_EQ(session.m_errorcode, 0);
    session.m_canport = 0x101;  // no byte can equal it
    EXPECT_EQ(Deal(&canframe::Deal30720, {0x01, 0xF2, 0xF3}), kStranger);
}

TEST_F(Frames, StartReplyChoosesThePlan) {
    for (const auto& [byte5, plan] : {std::pair{1, 1}, {0, 0}, {2, 2}, {0xFF, 0xFF}}) {
        Deal(&canframe::Deal29440, {0x01, 0x10, 0x20, 9, 1, static_cast<unsigned char>(byte5), 0, 0});
        EXPECT_EQ(session.m_crcplan, plan);
        EXPECT_EQ(session.m_startack, 9);
        EXPECT_EQ(session.m_startacked, 1);
    }
}

TEST_F(Frames, AddressesGoToTheFirstGroupThatWaits) {
    s_addnode& first = AddGroup(1024, 1);
    s_addnode& second = AddGroup(2048, 1);
    Deal(&canframe::Deal29952, {0x01, 0x10, 0x20, 0, 0x78, 0x56, 0x34, 0x12});
    EXPECT_EQ(first.address, 0x12345678U);
    EXPECT_EQ(first.addrstate, 1);
    EXPECT_EQ(second.address, 2048U);
    Deal(&canframe::Deal29952, {0x01, 0x10, 0x20, 0, 0x01, 0, 0, 0});
    EXPECT_EQ(second.address, 1U);
    Deal(&canframe::Deal29952, {0x01, 0x10, 0x20, 0, 0x02, 0, 0, 0});
    EXPECT_EQ(first.address, 0x12345678U);
    EXPECT_EQ(second.address, 1U);
}

TEST_F(Frames, StartReplyWithAnotherAddressIsRecorded) {
    session.m_startaddress = 0x08000400U;
    EXPECT_EQ(Deal(&canframe::Deal30720, {0x01, 0x10, 0x20, 0x00, 0x04, 0x00, 0x08, 0}), "");
    EXPECT_EQ(session.m_errorcode, 0);
    EXPECT_EQ(Deal(&canframe::Deal30720, {0x01, 0x10, 0x20, 0x00, 0x08, 0x00, 0x08, 0}),
              "CAN RCV start address error:send:0x08000400 rcv:0x08000800\n");
    EXPECT_EQ(session.m_errorcode, 3);
}

TEST_F(Frames, VerdictsOnAGroup) {
    session.m_debug = 1;
    s_addnode& first = AddGroup(1024, 4);
    s_addnode& second = AddGroup(2048, 4);
    session.m_groupaddress = 1024;
    EXPECT_EQ(Deal(&canframe::Deal31488, {0x01, 0x10, 0x20, 0x55, 0, 8, 0, 0}),
              "check group checkcrc failed\n");
    EXPECT_EQ(session.m_errorcode, 0);
    EXPECT_EQ(Deal(&canframe::Deal31488, {0x01, 0x10, 0x20, 0x66, 0, 8, 0, 0}), "check group erase failed\n");
    EXPECT_EQ(session.m_errorcode, 4);
    EXPECT_EQ(first.state, 0);
    EXPECT_EQ(first.addrstate, -1);

    session.m_groupaddress = 0xDEAD;  // nobody's: only the address is given
    EXPECT_EQ(Deal(&canframe::Deal31488, {0x01, 0x10, 0x20, 0xAA, 0x00, 0x10, 0, 0}),
              "check group checkcrc sucessfull\n");
    EXPECT_EQ(first.state, 0);
    EXPECT_EQ(first.address, 0x1000U);

    session.m_groupaddress = 0x1000;
    Deal(&canframe::Deal31488, {0x01, 0x10, 0x20, 0xAA, 0x00, 0x10, 0, 0});
    EXPECT_EQ(first.state, 1);
    EXPECT_TRUE(first.dataqueue.empty());
    EXPECT_EQ(second.state, 0);
    EXPECT_EQ(second.address, 0x1000U) << "the device named the same address again";

    Deal(&canframe::Deal31488, {0x01, 0x10, 0x20, 0xAA, 0x00, 0x20, 0, 0});
    EXPECT_EQ(second.state, 1) << "of two groups with one address the unconfirmed one is meant";
}

TEST_F(Frames, GoodVerdictConfirmsBeforeItGivesTheNextAddress) {
    s_addnode& group = AddGroup(1024, 4);  // started without an address of the device's: it takes this one
    session.m_groupaddress = 1024;
    Deal(&canframe::Deal31488, {0x01, 0x10, 0x20, 0xAA, 0x00, 0x20, 0, 0});
    EXPECT_EQ(group.state, 1);
    EXPECT_EQ(group.address, 0x2000U);
}

TEST_F(Frames, ProgramCheckAndResetVerdicts) {
    Deal(&canframe::Deal32000, {0x01, 0x10, 0x20, 7});
    EXPECT_EQ(session.m_checkack, 7);
    EXPECT_EQ(session.m_errorcode, 5);
    Deal(&canframe::Deal32000, {0x01, 0x10, 0x20, 0});
    EXPECT_EQ(session.m_errorcode, 0);
    Deal(&canframe::Deal32512, {0x01, 0x10, 0x20, 0xAA});
    EXPECT_EQ(session.m_errorcode, 6);
    Deal(&canframe::Deal32512, {0x01, 0x10, 0x20, 0x55});
    EXPECT_EQ(session.m_errorcode, 7);
}

TEST_F(Frames, MailboxWritesOneCommandACallInOrder) {
    session.m_chargeaddress = 0x1E0;
    session.m_mailbox.push_back(session.Build28672());
    session.m_mailbox.push_back(session.Build1792());
    session.SendMessageEvent();
    auto frame = NextFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->can_id, 0x9070E08AU);
    EXPECT_EQ(frame->can_dlc, 8);
    EXPECT_FALSE(NextFrame());
    session.SendMessageEvent();
    frame = NextFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->can_id, 0x9807E08AU);
    session.SendMessageEvent();
    EXPECT_FALSE(NextFrame());
}

TEST_F(Frames, DataStepSendsEveryPacketOnceAndNoneOfAConfirmedGroup) {
    s_addnode& confirmed = AddGroup(1024, 256);
    confirmed.state = 1;
    confirmed.dataqueue.clear();
    AddGroup(1024, 256);
    session.m_groupaddress = 1024;
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(session.SendMessageEventV2(), 0) << i;
        const auto frame = NextFrame();
        ASSERT_TRUE(frame);
        ASSERT_EQ(frame->can_id, 0x9079E08AU);
        ASSERT_EQ(frame->data[3], i);
    }
    EXPECT_EQ(session.SendMessageEventV2(), -1);
    EXPECT_EQ(session.m_packid, 256);
    session.m_debug = 1;
    session.m_packid = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(session.SendMessageEventV2(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "packid:0 listadd:00000400 m:00000400\n");
    session.m_groupaddress = 4096;
    EXPECT_EQ(session.SendMessageEventV2(), -1);
    AddGroup(4096, 4).count = 2;  // what the group promises counts, too
    session.m_debug = 0;
    session.m_packid = 1;
    EXPECT_EQ(session.SendMessageEventV2(), 0);
    EXPECT_EQ(session.SendMessageEventV2(), -1);
}

}  // namespace
