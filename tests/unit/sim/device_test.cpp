// The simulated device, driven frame by frame on a clock of the test's own.
#include "device.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "checksum.h"
#include "command.h"

using namespace velmorin;

namespace sim {
namespace {

using Texts = std::vector<std::string>;

constexpr Micros kSecond = 1'000'000;

// Two groups and their checksums, as they go onto the bus: 1024 bytes 0x11, then 100 bytes 0x22 and padding.
constexpr const char* kFirstB = "6c918b72";
constexpr const char* kFirstA = "44b9ede2";
constexpr const char* kSecondB = "5386114b";
constexpr const char* kSecondA = "89fc493c";
constexpr const char* kImageB = "ab730966";  // of the 1124 bytes
constexpr const char* kImageA = "a3d02f15";  // of the padded 2048

const Texts kAccepted = {"7d 0110200000000000"};
const Texts kNothing;

std::string Text(const can_frame& frame) {
    char text[20];
    const std::uint8_t* d = frame.data;
    std::snprintf(text, sizeof text, "%02x %02x%02x%02x%02x%02x%02x%02x%02x", frame.can_id >> 16 & 0xFFU,
                  d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
    return text;
}

class SimDevice : public testing::Test {
  protected:
    void Device(const Faults& faults, Plan plan = Plan::kB) {
        device.emplace(Settings{.plan = plan, .faults = faults});
    }

    /// Everything that leaves up to `wait` later.
    Texts Replies(Micros wait = 0) {
        now += wait;
        Texts texts;
        while (const auto frame = device->TakeDue(now)) texts.push_back(Text(*frame));
        return texts;
    }

    /// Sends one command; the replies that leave within `wait`.
    Texts Send(const std::string& hex, Micros wait = 0) {
        device->Receive(Command(hex), now);
        return Replies(wait);
    }

    void Packets(const std::string& four, int first = 0, int last = 255) {
        for (int i = first; i <= last; ++i) device->Receive(Packet(i, four), now);
    }

    /// Start of download and the first address, 08004000.
    void Begin() {
        Send("72 011020");
        Send("74 011020", kSecond);
    }

    Texts GroupEnd(const std::string& checksum) { return Send("7a 011020" + checksum); }

    /// One whole group; the replies to its end.
    Texts FirstGroup(const std::string& checksum = kFirstB) {
        Send("77 011020 00400008");
        Packets("11111111");
        return GroupEnd(checksum);
    }

    Texts SecondGroup(const std::string& checksum = kSecondB) {
        Send("77 011020 00440008");
        Packets("22222222", 0, 24);
        Packets("ffffffff", 25);
        return GroupEnd(checksum);
    }

    Texts Check(const std::string& checksum = kImageB) { return Send("7c 011020" + checksum); }

    std::optional<sim::Device> device{Settings{}};
    Micros now = 0;
};

TEST(SimChecksums, MatchThePublishedCheckValues) {
    const std::vector<std::uint8_t> digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(WordCrc(std::span(digits).first(8)), 0xFEFC54F9U);
    EXPECT_EQ(StandardCrc(digits), 0xCBF43926U);
}

TEST_F(SimDevice, CarriesAPlanBJobFromHeartbeatToReset) {
    EXPECT_EQ(Send("70 0110ff01"), Texts{"71 0110ff0100000000"});
    EXPECT_EQ(Send("72 01102007"), Texts{"73 0110200000000000"});
    EXPECT_EQ(Send("74 011020"), Texts{"75 0110200000400008"});
    EXPECT_EQ(Replies(kSecond), Texts{"76 0110200000400008"});
    EXPECT_EQ(Send("77 011020 00400008"), Texts{"78 0110200040000800"});
    EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa00440008"});
    EXPECT_EQ(SecondGroup(), Texts{"7b 011020aa00480008"});
    EXPECT_EQ(Check(), kAccepted);
    EXPECT_TRUE(device->job() == Job::kVerified && device->TakeChecked());
    EXPECT_EQ(device->image().size(), 1124U);
    EXPECT_EQ(device->image()[1024], 0x22);
    for (const char* why : {"at first", "when that answer may be lost"})
        EXPECT_EQ(Send("7e 011020 aa"), Texts{"7f 011020aa00000000"}) << why;
    EXPECT_EQ(device->job(), Job::kComplete);
    EXPECT_EQ(device->counters().violations, 0);
    device->UpdaterGone();
    Begin();
    EXPECT_EQ(device->groups(), 0U) << "the next updater's job is a new one";
}

TEST_F(SimDevice, PassesAnImageOnlyOfASizeThatFits) {
    struct {
        Plan plan;
        const char* named_size;
        const char* checksum;
        std::size_t size;  // 0: refused
    } const cases[] = {
        {Plan::kB, "64040000", kImageB, 1124},
        {Plan::kB, "65040000", kImageB, 0},
        {Plan::kB, "00000000", "a73eb9b1", 2048} /* padding and all */,
        {Plan::kB, "00000000", kFirstB, 0} /* ends in the first group */,
        {Plan::kA, "00000000", kImageA, 2048},
        {Plan::kA, "64040000", kImageA, 1124},
        {Plan::kA, "00040000", kImageA, 0},
        {Plan::kA, "01080000", kImageA, 0},
    };
    for (const auto& [plan, named_size, checksum, size] : cases) {
        SCOPED_TRACE(std::string(checksum) + " " + named_size);
        const bool a = plan == Plan::kA;
        Device({}, plan);
        EXPECT_EQ(Send("72 011020"), Texts{a ? "73 0110200000010000" : "73 0110200000000000"});
        Send(std::string("74 011020") + named_size, kSecond);
        EXPECT_EQ(FirstGroup(a ? kFirstB : kFirstA), Texts{"7b 0110205500400008"}) << "the other plan's";
        FirstGroup(a ? kFirstA : kFirstB);
        SecondGroup(a ? kSecondA : kSecondB);
        EXPECT_EQ(Check(checksum), size != 0 ? kAccepted : Texts{"7d 0110200100000000"});
        EXPECT_EQ(device->image().size(), size != 0 ? size : 2048);
        EXPECT_EQ(device->job(), size != 0 ? Job::kVerified : Job::kCheckFailed);
    }
}

TEST_F(SimDevice, AnswersOnlyWholeExtendedDataFramesFromTheUpdaterToItself) {
    const std::pair<canid_t, std::uint8_t> others[] = {
        {0x9070E18A, 8}, {0x9070E08B, 8}, {0x9870E08A, 8}, {0x1070E08A, 8}, {0xD070E08A, 8},
        {0xB070E08A, 8}, {0x9070E08A, 7}, {0x9070E08A, 9}, {0x9071E08A, 8},
    };
    can_frame frame = Command("70 01100500");
    for (const auto& [id, length] : others) {
        frame.can_id = id;
        frame.can_dlc = length;
        device->Receive(frame, now);
        EXPECT_EQ(Replies(kSecond), kNothing) << std::hex << id << " length " << int{length};
    }
    EXPECT_TRUE(device->Receive(Command("70 01100500"), now));
    const can_frame reply = device->TakeDue(now).value();
    EXPECT_EQ(std::pair(reply.can_id, int{reply.can_dlc}), std::pair(0x90718AE0U, 8));
}

TEST_F(SimDevice, RejectsAGroupWhosePacketsDidNotComeCompleteAndInOrder) {
    struct {
        std::vector<std::pair<int, int>> runs;
        int violations;
    } const cases[] = {
        {{{0, 254}}, 0},
        {{{1, 255}}, 0},
        {{{0, 99}, {101, 255}}, 0},
        {{{0, 100}, {100, 255}}, 1},
        {{{0, 99}, {101, 101}, {100, 100}, {102, 255}}, 1},
    };
    for (const auto& [runs, violations] : cases) {
        Device({});
        Begin();
        Send("77 011020 00400008");
        // Zeros, so that what is missing could pass for received.
        for (const auto& [first, last] : runs) Packets("00000000", first, last);
        EXPECT_EQ(GroupEnd("2eafb5ef"), Texts{"7b 0110205500400008"}) << testing::PrintToString(runs);
        EXPECT_EQ(device->counters().violations, violations) << testing::PrintToString(runs);
        EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa00440008"}) << "sent again";
    }
    Send("77 011020 00440008");
    EXPECT_EQ(GroupEnd("00000000"), Texts{"7b 0110205500440008"}) << "no packets at all";
}

TEST_F(SimDevice, TakesAShortGroupAsTheImagesLast) {
    Begin();
    FirstGroup();
    for (const auto& [checksum, verdict] :
         {std::pair("00000000", "7b 0110205500440008"), std::pair("e788ee3a", "7b 011020aa00480008")}) {
        Send("77 011020 00440008");
        Packets("22222222", 0, 0);
        can_frame last = Packet(1, "33333333");
        last.can_dlc = 6;
        EXPECT_TRUE(device->Receive(last, now));
        EXPECT_EQ(GroupEnd(checksum), Texts{verdict});
    }
    Send("77 011020 00480008");
    Packets("11111111");
    EXPECT_EQ(GroupEnd(kFirstB), Texts{"7b 0110205500480008"}) << "none can follow";
    EXPECT_EQ(device->counters().violations, 1);
    EXPECT_EQ(Check("62c493c4"), kAccepted);
    EXPECT_EQ(device->image().size(), 1030U);
}

TEST_F(SimDevice, RepeatsAVerdictOnlyWhenItMustHaveBeenLostAndStoresAGroupThatComesAgainOnce) {
    Begin();
    EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa00440008"});
    EXPECT_EQ(GroupEnd(kFirstB), kNothing);
    now += 2 * kSecond - 1;
    EXPECT_EQ(GroupEnd(kFirstB), kNothing);
    now += 1;
    EXPECT_EQ(GroupEnd(kFirstB), Texts{"7b 011020aa00480008"}) << "with an address of its own";
    EXPECT_EQ(GroupEnd(kFirstB), kNothing);
    SecondGroup();
    EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa00500008"});
    EXPECT_EQ(device->groups(), 2U);
    EXPECT_EQ(Check(), kAccepted);
}

TEST_F(SimDevice, AStartInMidTransferKeepsTheConfirmedGroupsAndAnnouncesFreshAddresses) {
    Begin();
    FirstGroup();
    Send("77 011020 00440008");
    Packets("22222222", 0, 10);
    EXPECT_EQ(Send("72 011020"), Texts{"73 0110200000000000"});
    EXPECT_EQ(GroupEnd(""), Texts{"7b 0110205500400008"}) << "the open group went with the link";
    EXPECT_EQ(Send("74 011020", kSecond), (Texts{"75 0110200000480008", "76 0110200000400008"}));
    EXPECT_EQ(Send("74 011020"), Texts{"75 01102000004c0008"});
    EXPECT_EQ(SecondGroup(), Texts{"7b 011020aa00500008"});
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Check(), kAccepted);
}

TEST_F(SimDevice, HeartbeatsThatStartOverMeanANewTransferButNotThoseThatWrap) {
    for (const char* number : {"ff7f", "feff"}) Send(std::string("70 0110") + number);
    Begin();
    FirstGroup();
    for (const char* number : {"ffff", "0000", "0700"}) Send(std::string("70 0110") + number);
    EXPECT_EQ(device->job(), Job::kRunning);
    Send("70 01100000");
    EXPECT_EQ(device->job(), Job::kAborted);
    Begin();
    EXPECT_EQ(device->groups(), 0U);
    EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa00440008"});
}

TEST_F(SimDevice, SendsAddressAndGoAheadAgainToAnUpdaterThatDoesNotHaveThem) {
    for (const char* address : {"00040000", "00440008", "00400007", "01400008", "ff3f0008"}) {
        Device({});
        Begin();
        EXPECT_EQ(Send(std::string("77 011020") + address, kSecond),
                  (Texts{"75 0110200000440008", "76 0110200000400008"}))
            << address << " was never announced";
    }
    EXPECT_EQ(Send("70 01100500"), Texts{"71 0110050000000000"}) << "it may still be busy";
    now += 2 * kSecond;
    EXPECT_EQ(Send("70 01100600"), (Texts{"71 0110060000000000", "76 0110200000400008"}));
}

TEST_F(SimDevice, CommandsThatDoNotBelongToTheJobAreNotAnswered) {
    for (const char* early : {"74 011020", "77 011020 00400008", "79 011020", "7a 011020", "7c 011020"})
        EXPECT_EQ(Send(early, kSecond), kNothing) << early;
    EXPECT_EQ(Send("7e 011020 aa"), Texts{"7f 011020aa00000000"}) << "a device at rest resets too";
    Begin();
    int violations = 0;
    for (const char* foreign : {"74 021020", "77 011120 00400008", "79 011021", "7a 011000", "7c 001020",
                                "7e ff1020aa", "7e 01102055"}) {
        EXPECT_EQ(Send(foreign, kSecond), kNothing) << foreign;
        EXPECT_EQ(device->counters().violations, ++violations) << foreign;
    }
    EXPECT_EQ(Send("70 02100000"), Texts{"71 0210000000000000"}) << "else it could never start afresh";
    EXPECT_EQ(Send("7e 011020 aa"), Texts{"7f 011020aa00000000"}) << "a reset before the check";
    EXPECT_EQ(device->counters().violations, violations + 2);
    EXPECT_EQ(device->job(), Job::kAborted);
}

TEST_F(SimDevice, FaultsOnGroupsCountByPositionAndCountAnewWithEveryJob) {
    Device({.fail_check = 0x42, .reject_groups = {{1, 2}}, .erase_fails = {{1, 1}}});
    for (int job = 0; job < 2; ++job) {
        Begin();
        EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa00440008"});
        EXPECT_EQ(SecondGroup(), Texts{"7b 0110206600440008"});
        for (int i = 0; i < 2; ++i) EXPECT_EQ(SecondGroup(), Texts{"7b 0110205500440008"});
        EXPECT_EQ(SecondGroup(), Texts{"7b 011020aa00480008"});
        device->UpdaterGone();
    }
    EXPECT_EQ(std::pair(device->counters().rejected, device->counters().erase_failed), std::pair(4, 2));
    Begin();
    FirstGroup();
    EXPECT_EQ(Check(kFirstB), Texts{"7d 0110204200000000"});
}

TEST_F(SimDevice, ResetsWithoutAWordAndHearsWhileItIsSilent) {
    Device({.no_reset_reply = true});
    Begin();
    FirstGroup();
    EXPECT_EQ(Check(kFirstB), kAccepted);
    EXPECT_EQ(Send("7e 011020 aa", kSecond), kNothing);
    EXPECT_EQ(device->job(), Job::kComplete);
    Device({.silent = true});
    EXPECT_EQ(Send("72 011020", kSecond), kNothing);
    EXPECT_EQ(device->job(), Job::kRunning);
}

TEST_F(SimDevice, GoesMuteInTheDataForSoManyHeartbeats) {
    Device({.mute_heartbeats = 2});
    EXPECT_EQ(Send("70 01100000").size(), 1U);
    Begin();
    EXPECT_EQ(Send("77 011020 00400008").size(), 1U);
    Packets("11111111");
    for (const char* unanswered : {"70 01100100", "7a 011020 6c918b72", "70 01100200", "72 011020"})
        EXPECT_EQ(Send(unanswered), kNothing);
    EXPECT_EQ(Send("70 01100300"), Texts{"71 0110030000000000"});
    EXPECT_EQ(device->groups(), 1U) << "it listened";
}

TEST_F(SimDevice, ADelayedReplyIsNotDoubledByTheRepeatedCommand) {
    Device({.delay = 700'000});
    EXPECT_EQ(Send("72 011020", 500'000), kNothing);
    EXPECT_EQ(Send("72 011020", 199'999), kNothing);
    EXPECT_EQ(device->NextDue(), 700'000);
    EXPECT_EQ(Replies(1), Texts{"73 0110200000000000"});
    EXPECT_EQ(Replies(kSecond), kNothing);
    Send("74 011020", 500'000);
    EXPECT_EQ(Send("74 011020", 2 * kSecond), (Texts{"75 0110200000400008", "76 0110200000400008"}));
    EXPECT_EQ(Send("74 011020", kSecond), (Texts{"75 0110200000440008", "76 0110200000400008"}));
}

TEST_F(SimDevice, LosesItsShareOfFramesBothWaysAndTheSameForTheSameSeed) {
    const auto left = [](std::uint32_t seed) {
        sim::Device lossy({.seed = seed, .faults = {.drop_percent = 20}});
        for (int i = 0; i < 1000; ++i) lossy.Receive(Command("70 0110"), 0);
        while (lossy.TakeDue(0)) continue;
        EXPECT_NEAR(lossy.counters().heard, 800, 60);
        EXPECT_NEAR(lossy.counters().sent, 640, 60);
        return std::pair(lossy.counters().heard, lossy.counters().sent);
    };
    EXPECT_EQ(left(1), left(1));
    EXPECT_NE(left(1), left(2));
}

}  // namespace
}  // namespace sim
