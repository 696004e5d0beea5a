// A watched job in which one frame goes wrong: every frame, every way. And what no recovery may hide.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Packdata.h"
#include "desk.h"
#include "littleendian.h"
#include "protocol.h"
#include "tool.h"
#include "watchedrun.h"

using namespace velmorin;

namespace {

constexpr int kSize = 2 * kGroupSize + 500;

std::string Image() {
    std::string image(kSize, '\0');
    std::mt19937 random(7);
    for (char& byte : image) byte = static_cast<char>(random());
    return image;
}

struct Outcome {
    RunReport report;
    bool delivered;
    int frames[2];
};

class Job {
  public:
    Job(sim::Plan plan, int pace)
        : settings_{.pace = pace}, desk([plan] {
              sim::Settings settings;
              settings.plan = plan;
              return settings;
          }()) {
        const std::string image = Image();
        const std::string padded = image + std::string(3 * kGroupSize - kSize, '\xFF');
        const auto* bytes = reinterpret_cast<const unsigned char*>(padded.data());
        PackData packer;
        packer.canid = DataIdentifier(0xE0);
        packer.canport = 1;
        packer.devtype = 0x10;
        packer.upaddress = 0x20;
        packer.groupsize = kGroupSize;
        for (int i = 0; i < 3; ++i)
            packer.Pack_WriteDataToDBV2(&session.m_addlist, i, bytes + i * kGroupSize, kGroupSize);
        session.SetAddress(1, 0xE0, 0x10, 0x20);
        session.m_filesize = kSize;
        session.m_crcA = tool::crc32_planA(bytes, padded.size());
        session.m_crcB = tool::crc32_planB(bytes, kSize);
        session.m_canhandle = new CAN_Port{desk.updater_end, 0};
    }

    Outcome Run() {
        Watcher nobody;
        testing::internal::CaptureStdout();
        Outcome outcome{RunWatched(session, settings_, nobody, desk), false, {}};
        testing::internal::GetCapturedStdout();
        const auto held = desk.device->image();
        const std::string image = Image();
        outcome.delivered = held.size() >= kSize &&
                            std::equal(image.begin(), image.end(), held.begin(), [](char a, std::uint8_t b) {
                                return static_cast<std::uint8_t>(a) == b;
                            });
        std::copy_n(desk.count, 2, outcome.frames);
        return outcome;
    }

    RunSettings settings_;
    Desk desk;
    canframe session;
};

TEST(OneFault, NoFrameThatGoesWrongKeepsTheImageFromArriving) {
    enum Kind { kLost, kDoubled, kLate, kDamaged, kOvertaken, kKinds };
    int jobs = 0;
    for (const sim::Plan plan : {sim::Plan::kA, sim::Plan::kB}) {
        const Outcome plain = Job(plan, 1).Run();
        ASSERT_EQ(plain.report.result, kResultSuccess);
        ASSERT_TRUE(plain.delivered);
        for (const Desk::Way way : {Desk::kToDevice, Desk::kToUpdater}) {
            for (int nth = 0; nth < plain.frames[way]; ++nth) {
                for (int kind = 0; kind < kKinds; ++kind) {
                    Job job(plan, 1);
                    std::string what;
                    std::mt19937 random(static_cast<unsigned int>(jobs));
                    bool own_no = false;
                    job.desk.fate = [&](Desk::Way w, int n, can_frame& frame) -> Fate {
                        if (w != way || n != nth) return {};
                        char text[80];
                        std::snprintf(text, sizeof text, "%08x#%02x%02x%02x%02x%02x%02x%02x%02x",
                                      frame.can_id, frame.data[0], frame.data[1], frame.data[2],
                                      frame.data[3], frame.data[4], frame.data[5], frame.data[6],
                                      frame.data[7]);
                        what = text;
                        if (kind == kLost) return {.copies = 0};
                        if (kind == kDoubled) return {.copies = 2};
                        if (kind == kLate) return {.delay = 300'000};
                        if (kind == kOvertaken) return {.behind_next = true};
                        const unsigned int bit = static_cast<unsigned int>(random() % (29 + 64));
                        const std::uint8_t pf = PfOf(frame.can_id);
                        if (bit < 29)
                            frame.can_id ^= 1U << bit;
                        else {
                            const unsigned int byte = (bit - 29) / 8;
                            frame.data[byte] ^= static_cast<std::uint8_t>(1U << (bit - 29) % 8);
                            own_no = (pf == kPfStartDownloadReply && (byte == 3 || byte == 5)) ||
                                     (pf == kPfProgramCheckReply && byte == 3) ||
                                     (pf == kPfProgramCheck && byte >= 3 && byte < 7);
                        }
                        return {};
                    };
                    const Outcome outcome = job.Run();
                    ++jobs;
                    if (outcome.report.result != 0 && own_no) continue;
                    EXPECT_TRUE(outcome.report.result == 0 && outcome.delivered)
                        << "way " << way << " frame " << nth << " " << what << " kind " << kind << ": result "
                        << outcome.report.result << " " << outcome.report.why
                        << (outcome.delivered ? "" : " not delivered") << " after "
                        << outcome.report.duration_s << " s";
                }
            }
        }
    }
    RecordProperty("jobs", jobs);
    std::fprintf(stderr, "%d jobs\n", jobs);
}

}  // namespace
