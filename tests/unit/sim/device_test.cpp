// The simulated device, driven frame by frame on a clock of the test's own.
#include "device.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "checksum.h"
#include "command.h"

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

std::string Text(const can_frame& frame) {
    char text[3];
    std::snprintf(text, sizeof text, "%02x", frame.can_id >> 16 & 0xFFU);
    std::string line = text;
    line += ' ';
    for (const std::uint8_t byte : frame.data) {
        std::snprintf(text, sizeof text, "%02x", byte);
        line += text;
    }
    return line;
}

class SimDevice : public testing::Test {
  protected:
    void Device(const Faults& faults, Plan plan = Plan::kB) {
        Settings settings;
        settings.plan = plan;
        settings.faults = faults;
        device.emplace(settings);
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

    void Packet(int index, const std::string& four) {
        char head[24];
        std::snprintf(head, sizeof head, "79 011020 %02x", static_cast<unsigned>(index));
        Send(head + four);
    }

    void Packets(const std::string& four, int first = 0, int last = 255) {
        for (int i = first; i <= last; ++i) Packet(i, four);
    }

    void SecondGroupsPackets() {
        Packets("22222222", 0, 24);
        Packets("ffffffff", 25);
    }

    /// Start of download and the first address, 08004000.
    void Begin() {
        Send("72 011020");
        Send("74 011020", kSecond);
    }

    /// One whole group; the replies to its end.
    Texts FirstGroup(const std::string& checksum = kFirstB) {
        Send("77 011020 00400008");
        Packets("11111111");
        return Send("7a 011020" + checksum);
    }

    Texts SecondGroup(const std::string& checksum = kSecondB) {
        Send("77 011020 00440008");
        SecondGroupsPackets();
        return Send("7a 011020" + checksum);
    }

    std::optional<sim::Device> device{Settings{}};
    Micros now = 0;
};

TEST(SimChecksums, MatchThePublishedCheckValues) {
    const std::vector<std::uint8_t> digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(WordCrc(std::span(digits).first(8)), 0xFEFC54F9U);
    EXPECT_EQ(WordCrc(std::vector<std::uint8_t>(4, 0)), 0xC704DD7BU);
    EXPECT_EQ(StandardCrc(digits), 0xCBF43926U);
    EXPECT_EQ(StandardCrc(std::span(digits).subspan(4), StandardCrc(std::span(digits).first(4))),
              0xCBF43926U);
}

TEST_F(SimDevice, CarriesAPlanBJobFromHeartbeatToReset) {
    EXPECT_EQ(Send("70 0110ff01"), Texts{"71 0110ff0100000000"});
    EXPECT_EQ(Send("72 01102007"), Texts{"73 0110200000000000"});
    EXPECT_EQ(Send("74 011020"), Texts{"75 0110200000400008"});
    EXPECT_EQ(Replies(kSecond), Texts{"76 0110200000400008"});
    EXPECT_EQ(Send("77 011020 00400008"), Texts{"78 0110200040000800"});
    Packets("11111111");
    EXPECT_EQ(Send("7a 011020 6c918b72"), Texts{"7b 011020aa00440008"});
    EXPECT_EQ(Send("77 011020 00440008"), Texts{"78 0110200044000800"});
    SecondGroupsPackets();
    EXPECT_EQ(Send("7a 011020 5386114b"), Texts{"7b 011020aa00480008"});
    EXPECT_EQ(Send("7c 011020 ab730966"), Texts{"7d 0110200000000000"});
    EXPECT_EQ(device->job(), Job::kVerified);
    EXPECT_TRUE(device->TakeChecked());
    EXPECT_EQ(device->image().size(), 1124U);
    EXPECT_EQ(device->image()[1024], 0x22);
    EXPECT_EQ(Send("7e 011020 aa"), Texts{"7f 011020aa00000000"});
    EXPECT_EQ(Send("7e 011020 aa"), Texts{"7f 011020aa00000000"}) << "its first answer may be lost";
    EXPECT_EQ(device->job(), Job::kComplete);
    EXPECT_EQ(device->counters().violations, 0);
}

TEST_F(SimDevice, PlanAChecksGroupsAndThePaddedImageWithTheOtherChecksum) {
    Device({}, Plan::kA);
    EXPECT_EQ(Send("72 011020"), Texts{"73 0110200000010000"});
    Send("74 011020", kSecond);
    EXPECT_EQ(FirstGroup(kFirstB), Texts{"7b 0110205500400008"}) << "plan B's checksum";
    EXPECT_EQ(FirstGroup(kFirstA), Texts{"7b 011020aa00440008"});
    EXPECT_EQ(SecondGroup(kSecondA), Texts{"7b 011020aa00480008"});
    EXPECT_EQ(Send(std::string("7c 011020") + kImageA), Texts{"7d 0110200000000000"});
    EXPECT_EQ(device->image().size(), 2048U);
}

TEST_F(SimDevice, AnswersOnlyWholeExtendedDataFramesFromTheUpdaterToItself) {
    const canid_t good = 0x9070E08A;
    const std::pair<canid_t, std::uint8_t> others[] = {
        {0x9070E18A, 8}, {0x9070E08B, 8}, {0x9870E08A, 8}, {0x1070E08A, 8}, {0xD070E08A, 8}, {0xB070E08A, 8},
        {0x9170E08A, 8}, {good, 7},       {good, 0},       {good, 9},       {0x9071E08A, 8},
    };
    can_frame frame = Command("70 01100500");
    for (const auto& [id, length] : others) {
        frame.can_id = id;
        frame.can_dlc = length;
        device->Receive(frame, now);
        EXPECT_EQ(Replies(kSecond), Texts{}) << std::hex << id << " length " << int{length};
    }
    frame.can_id = good;
    frame.can_dlc = 8;
    EXPECT_TRUE(device->Receive(frame, now));
    const auto reply = device->TakeDue(now);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->can_id, 0x90718AE0U);
    EXPECT_EQ(reply->can_dlc, 8);
}

TEST_F(SimDevice, RejectsAGroupWhosePacketsDidNotComeCompleteAndInOrder) {
    struct {
        const char* what;
        std::vector<std::pair<int, int>> runs;
        int violations;
    } const cases[] = {
        {"last missing", {{0, 254}}, 0},
        {"first missing", {{1, 255}}, 0},
        {"one missing", {{0, 99}, {101, 255}}, 0},
        {"none", {}, 0},
        {"one twice", {{0, 100}, {100, 255}}, 1},
        {"one late", {{0, 99}, {101, 101}, {100, 100}, {102, 255}}, 1},
        {"all twice", {{0, 255}, {0, 255}}, 1},
    };
    for (const auto& each : cases) {
        Device({});
        Begin();
        Send("77 011020 00400008");
        // Zeros, so that what is missing could pass for received.
        for (const auto& [first, last] : each.runs) Packets("00000000", first, last);
        EXPECT_EQ(Send("7a 011020 2eafb5ef"), Texts{"7b 0110205500400008"}) << each.what;
        EXPECT_EQ(device->counters().violations, each.violations) << each.what;
        EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa00440008"}) << each.what << ", sent again";
    }
}

TEST_F(SimDevice, TakesAShortGroupAsTheImagesLast) {
    const struct {
        Plan plan;
        const char* first;
        int short_length;      // of the last packet's frame
        const char* checksum;  // of the short group: one packet of 4, and what the short one carries
        const char* image;
        std::size_t size;
    } cases[] = {
        {Plan::kB, kFirstB, 6, "e788ee3a", "62c493c4", 1030},
        {Plan::kB, kFirstB, 8, "0e423ef8", "c6dda0c1", 1032},
        {Plan::kA, kFirstA, 8, "f7e2c4da", "95970377", 1032},
    };
    for (const auto& each : cases) {
        Device({}, each.plan);
        Begin();
        FirstGroup(each.first);
        const auto send_short_group = [&](const std::string& checksum) {
            Send("77 011020 00440008");
            Packet(0, "22222222");
            can_frame last = Command("79 011020 01 33333333");
            last.can_dlc = static_cast<std::uint8_t>(each.short_length);
            EXPECT_TRUE(device->Receive(last, now));
            return Send("7a 011020" + checksum);
        };
        EXPECT_EQ(send_short_group("00000000"), Texts{"7b 0110205500440008"});
        EXPECT_EQ(send_short_group(each.checksum), Texts{"7b 011020aa00480008"});
        Send("77 011020 00480008");
        Packets("11111111");
        EXPECT_EQ(Send(std::string("7a 011020") + each.first), Texts{"7b 0110205500480008"})
            << "none can follow";
        EXPECT_EQ(device->counters().violations, 1);
        EXPECT_EQ(Send(std::string("7c 011020") + each.image), Texts{"7d 0110200000000000"});
        EXPECT_EQ(device->image().size(), each.size);
    }
}

TEST_F(SimDevice, RepeatsAVerdictOnlyWhenItMustHaveBeenLost) {
    Begin();
    EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa00440008"});
    const std::string again = std::string("7a 011020") + kFirstB;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Send(again, kSecond / 2), Texts{});
    now += kSecond / 2;
    EXPECT_EQ(Send(again), Texts{"7b 011020aa00480008"}) << "with an address of its own";
    EXPECT_EQ(Send(again, kSecond / 2), Texts{});
    EXPECT_EQ(device->groups(), 1U);
}

TEST_F(SimDevice, AGroupThatComesAgainIsNotStoredTwice) {
    Begin();
    FirstGroup();
    SecondGroup();
    EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa004c0008"});
    EXPECT_EQ(Send(std::string("7c 011020") + kImageB), Texts{"7d 0110200000000000"});
    EXPECT_EQ(device->groups(), 2U);
}

TEST_F(SimDevice, AStartInMidTransferKeepsTheConfirmedGroupsAndAnnouncesFreshAddresses) {
    Begin();
    FirstGroup();
    Send("77 011020 00440008");
    Packets("22222222", 0, 10);
    EXPECT_EQ(Send("72 011020"), Texts{"73 0110200000000000"});
    EXPECT_EQ(Send("7a 011020"), Texts{"7b 0110205500400008"}) << "the open group went with the link";
    EXPECT_EQ(Send("74 011020", kSecond), (Texts{"75 0110200000480008", "76 0110200000400008"}));
    EXPECT_EQ(Send("74 011020"), Texts{"75 01102000004c0008"});
    EXPECT_EQ(SecondGroup(), Texts{"7b 011020aa00500008"});
    EXPECT_EQ(Send(std::string("7c 011020") + kImageB), Texts{"7d 0110200000000000"});
    EXPECT_EQ(Send(std::string("7c 011020") + kImageB), Texts{"7d 0110200000000000"});
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

TEST_F(SimDevice, AnAddressNeverAnnouncedIsAnsweredWithANewOne) {
    Begin();
    for (const char* address : {"00040000", "00440008", "00400007", "01400008", "ff3f0008"}) {
        const Texts replies = Send(std::string("77 011020") + address, kSecond);
        ASSERT_EQ(replies.size(), 2U) << address;
        EXPECT_EQ(replies[0].substr(0, 2), "75");
        EXPECT_EQ(replies[1].substr(0, 2), "76");
        Device({});
        Begin();
    }
}

TEST_F(SimDevice, SendsTheGoAheadAgainToAnUpdaterThatIdles) {
    Begin();
    EXPECT_EQ(Send("70 01100500"), Texts{"71 0110050000000000"}) << "it may still be busy";
    now += 2 * kSecond;
    EXPECT_EQ(Send("70 01100600"), (Texts{"71 0110060000000000", "76 0110200000400008"}));
    Send("77 011020 00400008");
    now += kSecond;
    EXPECT_EQ(Send("70 01100700"), Texts{"71 0110070000000000"});
}

TEST_F(SimDevice, CommandsThatDoNotBelongToTheJobAreNotAnswered) {
    for (const char* early : {"74 011020", "77 011020 00400008", "79 011020", "7a 011020", "7c 011020"})
        EXPECT_EQ(Send(early, kSecond), Texts{}) << early;
    Begin();
    int violations = 0;
    for (const char* foreign :
         {"74 021020", "77 011120 00400008", "79 011021", "7a 011000", "7c 001020", "7e ff1020aa"}) {
        EXPECT_EQ(Send(foreign, kSecond), Texts{}) << foreign;
        EXPECT_EQ(device->counters().violations, ++violations) << foreign;
    }
    EXPECT_EQ(Send("70 02100000"), Texts{"71 0210000000000000"}) << "else it could never start afresh";
    EXPECT_EQ(Send("7e 011020 55"), Texts{}) << "a reset without its key";
    EXPECT_EQ(device->counters().violations, violations + 2);
    EXPECT_EQ(device->job(), Job::kRunning);
    EXPECT_EQ(Send("7e 011020 aa"), Texts{"7f 011020aa00000000"}) << "a reset before the check";
    EXPECT_EQ(device->job(), Job::kAborted);
}

TEST_F(SimDevice, PassesAnImageOnlyOfASizeThatFits) {
    struct {
        Plan plan;
        const char* named_size;
        const char* checksum;
        std::optional<std::size_t> size;
    } const cases[] = {
        {Plan::kB, "00000000", kImageB, 1124},
        {Plan::kB, "64040000", kImageB, 1124},
        {Plan::kB, "65040000", kImageB, {}},
        {Plan::kB, "64080000", kImageB, {}},
        {Plan::kB, "00000000", "a73eb9b1", 2048} /* padding and all */,
        {Plan::kB, "00000000", kFirstB, {}} /* ends in the first group */,
        {Plan::kB, "00000000", kImageA, {}},
        {Plan::kA, "00000000", kImageA, 2048},
        {Plan::kA, "64040000", kImageA, 1124},
        {Plan::kA, "00040000", kImageA, {}},
        {Plan::kA, "00080000", kImageA, 2048},
        {Plan::kA, "01080000", kImageA, {}},
    };
    for (const auto& each : cases) {
        Device({}, each.plan);
        Send("72 011020");
        Send(std::string("74 011020") + each.named_size, kSecond);
        FirstGroup(each.plan == Plan::kA ? kFirstA : kFirstB);
        SecondGroup(each.plan == Plan::kA ? kSecondA : kSecondB);
        const Texts reply = Send(std::string("7c 011020") + each.checksum);
        EXPECT_EQ(reply, Texts{each.size ? "7d 0110200000000000" : "7d 0110200100000000"}) << each.checksum;
        EXPECT_EQ(device->image().size(), each.size.value_or(2048))
            << each.checksum << " " << each.named_size;
        EXPECT_EQ(device->job(), each.size ? Job::kVerified : Job::kCheckFailed);
    }
    Device({});
    Begin();
    EXPECT_EQ(Send("7c 011020 00000000"), Texts{"7d 0110200100000000"}) << "no image at all";
}

TEST_F(SimDevice, FaultsOnGroupsCountByPositionAndCountAnewWithEveryJob) {
    Device({.reject_groups = {{1, 2}}, .erase_fails = {{1, 1}}});
    for (int job = 0; job < 2; ++job) {
        Begin();
        EXPECT_EQ(FirstGroup(), Texts{"7b 011020aa00440008"});
        EXPECT_EQ(SecondGroup(), Texts{"7b 0110206600440008"});
        EXPECT_EQ(SecondGroup(), Texts{"7b 0110205500440008"});
        EXPECT_EQ(SecondGroup(), Texts{"7b 0110205500440008"});
        EXPECT_EQ(SecondGroup(), Texts{"7b 011020aa00480008"});
        device->UpdaterGone();
    }
    EXPECT_EQ(device->counters().rejected, 4);
    EXPECT_EQ(device->counters().erase_failed, 2);
}

TEST_F(SimDevice, RefusalsCarryTheirCodes) {
    Device({.refuse_start = 7});
    EXPECT_EQ(Send("72 011020"), Texts{"73 0110200700000000"});
    EXPECT_EQ(Send("72 011020"), Texts{"73 0110200700000000"});
    EXPECT_EQ(device->job(), Job::kRefused);

    Device({.fail_check = 0x42});
    Begin();
    FirstGroup();
    SecondGroup();
    EXPECT_EQ(Send(std::string("7c 011020") + kImageB), Texts{"7d 0110204200000000"});
    EXPECT_EQ(device->job(), Job::kCheckFailed);
    EXPECT_EQ(device->image().size(), 1124U);

    Device({.no_reset_reply = true});
    Begin();
    FirstGroup();
    SecondGroup();
    Send(std::string("7c 011020") + kImageB);
    EXPECT_EQ(Send("7e 011020 aa", kSecond), Texts{});
    EXPECT_EQ(device->job(), Job::kComplete);

    Device({.silent = true});
    EXPECT_EQ(Send("70 01100000", kSecond), Texts{});
    EXPECT_EQ(Send("72 011020", kSecond), Texts{});
    EXPECT_EQ(device->job(), Job::kRunning) << "it hears all the same";
}

TEST_F(SimDevice, GoesMuteInTheDataForSoManyHeartbeats) {
    Device({.mute_heartbeats = 2});
    EXPECT_EQ(Send("70 01100000").size(), 1U);
    Begin();
    Send("77 011020 00400008");
    Packet(0, "11111111");
    EXPECT_EQ(Send("70 01100100"), Texts{});
    Packets("11111111", 1);
    EXPECT_EQ(Send(std::string("7a 011020") + kFirstB), Texts{});
    EXPECT_EQ(Send("70 01100200"), Texts{});
    EXPECT_EQ(Send("72 011020"), Texts{});
    EXPECT_EQ(Send("70 01100300"), Texts{"71 0110030000000000"});
    EXPECT_EQ(device->groups(), 1U) << "it listened";
}

TEST_F(SimDevice, ADelayedReplyIsNotDoubledByTheRepeatedCommand) {
    Device({.delay = 700'000});
    EXPECT_EQ(Send("72 011020", 500'000), Texts{});
    EXPECT_EQ(Send("72 011020", 199'999), Texts{});
    EXPECT_EQ(device->NextDue(), 700'000);
    EXPECT_EQ(Replies(1), Texts{"73 0110200000000000"});
    EXPECT_EQ(Replies(kSecond), Texts{});
    Send("74 011020", 500'000);
    EXPECT_EQ(Send("74 011020", 2 * kSecond), (Texts{"75 0110200000400008", "76 0110200000400008"}));
    EXPECT_EQ(Send("74 011020", kSecond), (Texts{"75 0110200000440008", "76 0110200000400008"}));
}

TEST_F(SimDevice, LosesTheSameFramesForTheSameSeed) {
    auto lost = [](std::uint32_t seed, double percent) {
        sim::Device lossy({.seed = seed, .faults = {.drop_percent = percent}});
        for (int i = 0; i < 1000; ++i) lossy.Receive(Command("70 0110"), 0);
        while (lossy.TakeDue(0)) {
        }
        EXPECT_EQ(lossy.counters().sent + lossy.counters().lost, 1000);
        return std::pair(lossy.counters().heard, lossy.counters().sent);
    };
    EXPECT_EQ(lost(1, 10), lost(1, 10));
    EXPECT_NE(lost(1, 10), lost(2, 10));
    EXPECT_EQ(lost(1, 100), std::pair(0, 0));
    const auto [heard, sent] = lost(3, 20);
    EXPECT_NEAR(heard, 800, 60);
    EXPECT_NEAR(sent, 640, 60);
}

}  // namespace
}  // namespace sim
