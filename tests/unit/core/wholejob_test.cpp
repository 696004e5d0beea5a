// Whole jobs in memory: a device written for the test answers, and every frame that crosses is checked.
#include <map>
#include <string>

#include "benchdir.h"
#include "fakewait.h"
#include "sessionfixture.h"
#include "sqlrows.h"
#include "tool.h"

namespace {

/// Sees every frame of the updater and answers as the protocol wants, with the faults that a test sets.
class WholeJob : public SessionFixture {
  protected:
    static constexpr unsigned int kBase = 0x08004000U;

    void Load(std::size_t size) {
        image = TestImage(size);
        testing::internal::CaptureStdout();
        session.SetAddress(1, 0xE0, 0x10, 0x20);
        session.LoadData(bench.Write("image", image).c_str());
    }

    /// Runs until the session is finished, at most `limit` passes, and records its result.
    void Run(int limit = 20000) {
        while (session.m_finished != 1 && limit-- > 0) {
            session.Runloop();
            for (const can_frame& frame : Frames()) Take(frame);
        }
        finished = session.m_finished == 1;
        session.UpdateRecord();
        printed = testing::internal::GetCapturedStdout();
    }

    void Take(const can_frame& frame) {
        const unsigned int pf = frame.can_id >> 16 & 0xFF;
        ASSERT_EQ(frame.can_id, 0x9000E08AU | pf << 16);
        ASSERT_EQ(frame.can_dlc, 8);
        ASSERT_EQ(frame.data[0], 0x01);
        ASSERT_EQ(frame.data[1], 0x10);
        ASSERT_EQ(frame.data[2], pf == 0x70 ? frame.data[2] : 0x20);
        if (pf != 0x79 || frame.data[3] == 0) course += Name(pf);
        if (silent) return;
        const unsigned int value = frame.data[3] | static_cast<unsigned int>(frame.data[4]) << 8 |
                                   static_cast<unsigned int>(frame.data[5]) << 16 |
                                   static_cast<unsigned int>(frame.data[6]) << 24;
        switch (pf) {
            case 0x70:
                Reply(0x71, {0x01, 0x10, frame.data[2], frame.data[3], 0, 0, 0, 0});
                break;
            case 0x72:
                Reply(0x73, {0x01, 0x10, 0x20, refuse_start, 0, plan, 0, 0});
                break;
            case 0x74:
                size_asked = value;
                ReplyAddress(0x75, 0);
                Reply(0x76, {0x01, 0x10, 0x20, 0, 0, 0, 0, 0});
                break;
            case 0x77:
                ++starts[value];
                address = value;
                group.clear();
                packet = 0;
                Reply(0x78,
                      {0x01, 0x10, 0x20, frame.data[3], frame.data[4], frame.data[5], frame.data[6], 0});
                break;
            case 0x79:
                EXPECT_EQ(frame.data[3], packet);
                if (packet++ == lose_packet) {
                    lose_packet = -1;
                } else {
                    group.append(reinterpret_cast<const char*>(frame.data) + 4, 4);
                }
                break;
            case 0x7A:
                Judge(value);
                break;
            case 0x7C:
                checked = value;
                Reply(0x7D, {0x01, 0x10, 0x20, fail_check, 0, 0, 0, 0});
                break;
            case 0x7E:
                EXPECT_EQ(frame.data[3], 0xAA);
                Reply(0x7F, {0x01, 0x10, 0x20, 0xAA, 0, 0, 0, 0});
                break;
            default:
                ADD_FAILURE() << "unknown PF " << pf;
        }
    }

    void Judge(unsigned int checksum) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(group.data());
        const unsigned int own = plan == 1
                                     ? tool::crc32_planA(bytes, group.size())
                                     : tool::crc32_planB(bytes, static_cast<unsigned int>(group.size()));
        const bool right = group.size() == 1024 && own == checksum && reject == 0;
        if (reject > 0) --reject;
        if (right) received[address] = group;
        ReplyAddress(0x7B, right ? 0xAA : 0x55);
    }

    void ReplyAddress(unsigned int pf, unsigned char status) {
        const auto next = static_cast<unsigned int>(kBase + 1024 * received.size());
        Reply(pf, {0x01, 0x10, 0x20, status, static_cast<unsigned char>(next),
                   static_cast<unsigned char>(next >> 8), static_cast<unsigned char>(next >> 16),
                   static_cast<unsigned char>(next >> 24)});
    }

    static std::string Name(unsigned int pf) {
        static const std::map<unsigned int, std::string> names = {{0x70, "h"}, {0x72, "D"}, {0x74, "A"},
                                                                  {0x77, "S"}, {0x79, "p"}, {0x7A, "E"},
                                                                  {0x7C, "C"}, {0x7E, "R"}};
        return names.count(pf) != 0 ? names.at(pf) : "?";
    }

    std::string Course() const {
        std::string without_heartbeats;
        for (const char c : course) {
            if (c != 'h') without_heartbeats += c;
        }
        return without_heartbeats;
    }

    std::string Received() const {
        std::string bytes;
        for (const auto& [at, content] : received) bytes += content;
        return bytes;
    }

    BenchDir bench;
    std::string image, group, course, printed;
    std::map<unsigned int, std::string> received;
    std::map<unsigned int, int> starts;
    unsigned int address = 0, checked = 0, size_asked = 0;
    int packet = 0, lose_packet = -1;
    unsigned char plan = 0, refuse_start = 0, fail_check = 0;
    int reject = 0;
    bool silent = false, finished = false;
};

TEST_F(WholeJob, ArrivesWholeUnderBothPlans) {
    for (const unsigned char chosen : {std::uint8_t{0}, std::uint8_t{1}}) {
        plan = chosen;
        received.clear();
        course.clear();
        session.m_finished = session.m_runstep = 0;
        session.m_addlist.clear();
        Load(2500);
        Run();
        ASSERT_TRUE(finished);
        EXPECT_TRUE(Received() == image + std::string(3072 - 2500, '\xFF'));
        EXPECT_EQ(Course(), "DASpESpESpECR");
        EXPECT_EQ(received.begin()->first, kBase);
        EXPECT_EQ(checked, plan == 1 ? session.m_crcA : session.m_crcB);
        EXPECT_EQ(session.m_errorcode, 0);
        for (const s_addnode& left : session.m_addlist) EXPECT_TRUE(left.dataqueue.empty());
    }
    EXPECT_EQ(SqlRows(bench.StagingFile(), "SELECT state,result FROM tag_history"),
              (std::vector<std::string>{"1|0", "1|0"}));
}

TEST_F(WholeJob, PassesAreWhatTheProtocolNeeds) {
    Load(1024);
    fakewait::Reset();
    Run();
    // 403 passes to the start; 0x74, 0x75 with one idle pass, 0x77, 256 packets and their end, 0x7A, 0x7C,
    // 0x7E.
    EXPECT_EQ(session.m_loopcount, 403U + 2 + 2 + 257 + 3 + 1);
    EXPECT_EQ(fakewait::WaitedMs(), static_cast<long>(session.m_loopcount) * 10 + 2 * 100);
}

TEST_F(WholeJob, LostPacketIsMendedBySendingTheGroupAgain) {
    lose_packet = 100;
    Load(2048);
    Run();
    EXPECT_EQ(session.m_errorcode, 0);
    EXPECT_EQ(Course(), "DASpESpESpECR");
    EXPECT_EQ(starts[kBase], 2);
    EXPECT_TRUE(Received() == image);
}

TEST_F(WholeJob, GroupRejectedThreeTimesEndsTheJob) {
    reject = 3;
    Load(1024);
    Run();
    EXPECT_TRUE(finished);
    EXPECT_EQ(session.m_errorcode, 12);
    EXPECT_EQ(Course(), "DASpESpESpE");
    EXPECT_NE(printed.find("send count:3 countmax:3 packcout:256\n"), std::string::npos);
    EXPECT_NE(printed.find("error code:12\n"), std::string::npos);
}

TEST_F(WholeJob, RefusalsEndTheJobWithTheirCode) {
    refuse_start = 1;
    Load(1024);
    Run();
    EXPECT_TRUE(finished);
    EXPECT_EQ(session.m_errorcode, 10);
    EXPECT_EQ(Course(), "D");
}

TEST_F(WholeJob, FailedProgramCheckEndsTheJobWithoutAReset) {
    fail_check = 1;
    Load(1024);
    Run();
    EXPECT_TRUE(finished);
    EXPECT_EQ(session.m_errorcode, 5);
    EXPECT_EQ(Course(), "DASpEC");
}

TEST_F(WholeJob, DeviceThatComesBackGetsTheRest) {
    Load(2048);
    int passes = 0;
    bool muted = false;
    while (session.m_finished != 1 && ++passes < 20000) {
        session.Runloop();
        for (const can_frame& frame : Frames()) Take(frame);
        if (!muted && received.size() == 1 && group.size() == 400) muted = silent = true;
        // A silent device: the sequencer ends the group, waits in vain, and loses the link.
        if (silent && session.m_runstep == 3) silent = false;
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(session.m_errorcode, 0);
    EXPECT_TRUE(Received() == image);
    EXPECT_EQ(Course().substr(0, 10), "DASpESpEEE") << "resent while nobody answers";
    EXPECT_EQ(Course().substr(Course().size() - 7), "DASpECR") << "the confirmed group is not sent again";
}

TEST_F(WholeJob, ArchiveTellsItsSize) {
    image = TestImage(1500);
    testing::internal::CaptureStdout();
    session.SetAddress(1, 0xE0, 0x10, 0x20);
    session.LoadData(bench.Write("fw.tar.gz", image).c_str());
    Run();
    EXPECT_EQ(size_asked, 1500U);
    EXPECT_EQ(session.m_errorcode, 0);
}

TEST_F(WholeJob, ImageThatCannotBeReadIsCheckedAsNothing) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    session.SetAddress(1, 0xE0, 0x10, 0x20);
    session.LoadData("/no/such/image");
    Run();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(Course(), "DACR");
    EXPECT_EQ(checked, 0U);
    EXPECT_TRUE(SqlRows(bench.StagingFile(), "SELECT * FROM tag_history").empty());
}

}  // namespace
