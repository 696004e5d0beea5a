// A watched job in which one frame goes wrong: every frame, every way.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

#include "benchdir.h"
#include "desk.h"
#include "watchedrun.h"

using namespace velmorin;

namespace {

using Fate = Desk::Fate;
using Random = std::mt19937;

/// One bit of the identifier or the data.
Fate Damage(can_frame& frame, Random& random) {
    const auto bit = random() % (29 + 64);
    if (bit < 29) {
        frame.can_id ^= 1U << bit;
    } else {
        frame.data[(bit - 29) / 8] ^= static_cast<unsigned char>(1U << (bit - 29) % 8);
    }
    return {};
}

const struct Kind {
    const char* name;
    Fate (*of)(can_frame& frame, Random& random);
} kKinds[] = {
    {"lost", [](can_frame&, Random&) { return Fate{.first = Desk::kNever}; }},
    {"doubled", [](can_frame&, Random&) { return Fate{.second = 0}; }},
    {"late", [](can_frame&, Random&) { return Fate{.first = 300'000}; }},
    {"damaged", Damage},
    {"overtaken", [](can_frame&, Random&) { return Fate{.behind_next = true}; }},
};

/// May it end the job? The device's no and the plan stand in one byte, and the checksum that it is asked to
/// judge by in four; nothing tells a damaged one from a true one.
bool MayRefuse(const can_frame& whole, const can_frame& damaged) {
    const auto changed = [&](int from, int to) {
        return !std::equal(whole.data + from, whole.data + to, damaged.data + from);
    };
    switch (PfOf(whole.can_id)) {
        case kPfStartDownloadReply:
            return changed(kAtStatus, kAtStatus + 1) || changed(kAtPlan, kAtPlan + 1);
        case kPfProgramCheckReply:
            return changed(kAtStatus, kAtStatus + 1);
        case kPfProgramCheck:
            return changed(kAtChecksum, kAtChecksum + 4);
        default:
            return false;
    }
}

class OneFault : public testing::TestWithParam<sim::Plan> {
  protected:
    /// A job whose n-th frame of a way meets this kind of fault; frames of that way.
    int Run(const Kind* kind, Desk::Way way = Desk::kToDevice, int nth = -1) {
        canframe session;
        Desk desk(session, sim::Settings{.plan = GetParam()});
        session.m_addlist = packed.m_addlist;
        session.m_filesize = packed.m_filesize;
        session.m_crcA = packed.m_crcA;
        session.m_crcB = packed.m_crcB;
        Random random(static_cast<unsigned int>(nth));
        can_frame before{}, after{};
        desk.fate = [&](Desk::Way w, int n, can_frame& frame) {
            if (w != way || n != nth) return Fate{};
            before = frame;
            const Fate fate = kind->of(frame, random);
            after = frame;
            return fate;
        };
        Watcher nobody;
        const RunReport report = RunWatched(session, {}, nobody, desk);
        const auto held = desk.device->image();
        const bool delivered =
            report.result == 0 &&
            std::equal(image.begin(), image.end(), held.begin(),
                       held.begin() + static_cast<long>(image.size()),
                       [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
        EXPECT_TRUE(delivered || (report.result != 0 && MayRefuse(before, after)))
            << (kind != nullptr ? kind->name : "plain") << " frame " << nth << " of way " << way << ", PF "
            << std::hex << int{PfOf(before.can_id)} << ": result " << std::dec << report.result << ", "
            << report.why;
        return desk.count[way];
    }

    const std::string image = TestImage(2 * kGroupSize + 500);
    canframe packed;
};

TEST_P(OneFault, NeverKeepsTheImageFromArriving) {
    {
        Desk desk(packed);
        PackInto(packed, image);
    }
    testing::internal::CaptureStdout();
    for (const Desk::Way way : {Desk::kToDevice, Desk::kToUpdater}) {
        const int frames = Run(nullptr, way);
        for (int nth = 0; nth < frames; ++nth) {
            for (const Kind& kind : kKinds) Run(&kind, way, nth);
        }
    }
    testing::internal::GetCapturedStdout();
}

INSTANTIATE_TEST_SUITE_P(Plans, OneFault, testing::Values(sim::Plan::kA, sim::Plan::kB));

}  // namespace
