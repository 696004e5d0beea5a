// The simulated device, driven frame by frame on a clock of the test's own.
#include "device.h"

#include <string>
#include <utility>
#include <vector>

#include "checksum.h"
#include "conversation.h"

using namespace velmorin;

namespace sim {
namespace {

// Two groups: 1024 bytes 0x11, then 100 bytes 0x22 and padding. Their checksums, as they go onto the bus, are
// 6c918b72 and 5386114b (plan B), 44b9ede2 and 89fc493c (plan A).
const std::string kBegin = "72 011020\n74 011020\n+20\n";
const std::string kStartFirst = "77 011020 00400008\npackets 0 255 11111111\n";
const std::string kStartSecond = "77 011020 00440008\npackets 0 24 22222222\npackets 25 255 ffffffff\n";
const std::string kFirst = kStartFirst + "7a 011020 6c918b72\n";
const std::string kSecond = kStartSecond + "7a 011020 5386114b\n";
const std::string kCheck = "7c 011020 ab730966\n";  // 1124 bytes, plan B

TEST(SimChecksums, MatchThePublishedCheckValues) {
    const std::vector<std::uint8_t> digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(WordCrc(std::span(digits).first(8)), 0xFEFC54F9U);
    EXPECT_EQ(StandardCrc(digits), 0xCBF43926U);
}

TEST(SimDevice, PassesAnImageOnlyOfASizeThatFits) {
    const struct {
        Plan plan;
        std::string named_size, checksum;  // a73eb9b1 and, plan A, a3d02f15: of the padded 2048 bytes
        std::size_t size;                  // 0: refused
    } cases[] = {
        {Plan::kB, "64040000", "ab730966", 1124}, {Plan::kB, "65040000", "ab730966", 0},
        {Plan::kB, "00000000", "a73eb9b1", 2048}, {Plan::kA, "64040000", "a3d02f15", 1124},
        {Plan::kA, "00040000", "a3d02f15", 0},    {Plan::kA, "01080000", "a3d02f15", 0},
    };
    for (const auto& [plan, named_size, checksum, size] : cases) {
        SCOPED_TRACE(checksum + " " + named_size);
        const bool a = plan == Plan::kA;
        Device device({.plan = plan});
        Play(device, "72 011020 > 73 011020" + std::string(a ? "000001" : "") + "\n74 011020" + named_size +
                         "\n+20\n" + kStartFirst + "7a 011020" + (a ? "44b9ede2" : "6c918b72") +
                         " > 7b 011020aa00440008\n" + kStartSecond + "7a 011020" +
                         (a ? "89fc493c" : "5386114b") + " > 7b 011020aa00480008\n7c 011020" + checksum +
                         " > 7d 011020" + (size != 0 ? "" : "01"));
        EXPECT_EQ(device.image().size(), size != 0 ? size : 2048);
        EXPECT_EQ(device.job(), size != 0 ? Job::kVerified : Job::kCheckFailed);
    }
}

TEST(SimDevice, AnswersOnlyWholeExtendedDataFramesFromTheUpdaterToItself) {
    const std::pair<canid_t, std::uint8_t> others[] = {
        {0x9070E18A, 8}, {0x9070E08B, 8}, {0x9870E08A, 8}, {0x1070E08A, 8}, {0xD070E08A, 8},
        {0xB070E08A, 8}, {0x9070E08A, 7}, {0x9070E08A, 9}, {0x9079E08A, 4},
    };
    Device device({});
    can_frame frame = Command("70 01100500");
    for (const auto& [id, length] : others) {
        frame.can_id = id;
        frame.can_dlc = length;
        EXPECT_FALSE(device.Receive(frame, 0)) << std::hex << id << " length " << int{length};
    }
}

TEST(SimDevice, LeadsEveryTransferToItsEnd) {
    const std::string refused = "7a 011020 2eafb5ef > 7b 0110205500400008\n";
    const struct {
        const char* what;
        Job job;
        int violations;
        std::string script;
    } cases[] = {
        {"a verdict is lost", Job::kVerified, 0,
         kBegin + kFirst + "+1999\n7a 011020 > -\n+1\n7a 011020 > 7b 011020aa00480008\n7a 011020 > -\n" +
             kSecond + kStartFirst + "7a 011020 6c918b72 > 7b 011020aa00500008\n" + kCheck},
        {"without a start", Job::kNone, 0,
         "74 011020 > -\n77 011020 00400008 > -\n7a 011020 > -\n7c 011020 > -\n7e 011020 aa > 7f 011020aa"},
        {"commands of another job", Job::kRunning, 4,
         kBegin + "74 021020 > -\n77 011120 00400008 > -\n7e 01102055 > -\n70 0210 > 71 0210"},
        // Zeros, so that what is missing could pass for received; 2eafb5ef is the checksum of 1024.
        {"packets are missing", Job::kRunning, 1,
         kBegin + "77 011020 00400008\npackets 0 254 00000000\n" + refused +
             "77 011020 00400008\npackets 1 255 00000000\n" + refused +
             "77 011020 00400008\npackets 0 100 00000000\npackets 100 255 00000000\n" + refused +
             "77 011020 00400008\n" + refused + kFirst},
        {"reset before the check", Job::kAborted, 1, kBegin + kFirst + "7e 011020 aa > 7f 011020aa"},
    };
    for (const auto& [what, job, violations, script] : cases) {
        SCOPED_TRACE(what);
        Device device({});
        Play(device, script);
        EXPECT_EQ(device.job(), job);
        EXPECT_EQ(device.counters().violations, violations);
        EXPECT_EQ(device.IsRight(), job == Job::kComplete);
    }
}

TEST(SimDevice, LosesItsShareOfFramesBothWaysAndTheSameForTheSameSeed) {
    std::vector<int> sent;
    for (const std::uint32_t seed : {1U, 1U, 2U}) {
        Device lossy({.seed = seed, .faults = {.drop_percent = 20}});
        for (int i = 0; i < 1000; ++i) lossy.Receive(Command("70 0110"), 0);
        while (lossy.TakeDue(0)) continue;
        EXPECT_NEAR(lossy.counters().heard, 800, 60);
        sent.push_back(lossy.counters().sent);
        EXPECT_EQ(lossy.counters().lost, 1000 - sent.back());
    }
    EXPECT_EQ(sent[0], sent[1]);
    EXPECT_NE(sent[0], sent[2]);
}

TEST(SimDevice, TakesNoMoreDataInTenMillisecondsThanItsBufferHolds) {
    Device device({.faults = {.take = 2}});
    const std::pair<Micros, int> heard_by[] = {{0, 1}, {4000, 2}, {9999, 2}, {10000, 3}, {13999, 3}};
    for (const auto& [when, heard] : heard_by) {
        device.Receive(Command("79 011020 00"), when);
        EXPECT_EQ(device.counters().heard, heard) << when;
    }
    device.Receive(Command("70 0110"), 13999);
    EXPECT_EQ(device.counters().heard, 4) << "only data is lost";
}

}  // namespace
}  // namespace sim
