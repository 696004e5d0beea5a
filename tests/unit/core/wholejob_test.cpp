// A whole job in memory against a scripted device: every frame that crosses, with checksums computed bit by
// bit.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "benchdir.h"
#include "printed.h"
#include "sessionfixture.h"

using namespace velmorin;

namespace {

using Texts = std::vector<std::string>;

constexpr unsigned int kBase = 0x08004000U;

unsigned int At(const std::string& bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

// Both straight from the definitions.
unsigned int SlowCrcA(const std::string& bytes) {
    unsigned int crc = 0xFFFFFFFFU;
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
        crc ^= At(bytes, i) | At(bytes, i + 1) << 8 | At(bytes, i + 2) << 16 | At(bytes, i + 3) << 24;
        for (int bit = 0; bit < 32; ++bit) crc = (crc >> 31) != 0 ? crc << 1 ^ 0x04C11DB7U : crc << 1;
    }
    return crc;
}

unsigned int SlowCrcB(const std::string& bytes) {
    unsigned int crc = 0xFFFFFFFFU;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        crc ^= At(bytes, i);
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320U : crc >> 1;
    }
    return ~crc;
}

/// A command with these bytes behind the address bytes.
std::string Command(unsigned int pf, unsigned int b3, unsigned int b4, unsigned int b5, unsigned int b6,
                    unsigned int b7 = 0) {
    char text[40];
    std::snprintf(text, sizeof text, "%02x 011020%02x%02x%02x%02x%02x", pf, b3, b4, b5, b6, b7);
    return text;
}

std::string Command(unsigned int pf, unsigned int number) {
    return Command(pf, number & 0xFF, number >> 8 & 0xFF, number >> 16 & 0xFF, number >> 24);
}

/// What the job puts onto the bus, but for its heartbeats.
Texts Expected(const std::string& image, bool plan_a) {
    std::string padded = image;
    padded.resize((image.size() + 1023) / 1024 * 1024, '\xFF');
    Texts frames = {Command(0x72, 0), Command(0x74, 0)};
    for (std::size_t start = 0; start < padded.size(); start += 1024) {
        const std::string group = padded.substr(start, 1024);
        frames.push_back(Command(0x77, kBase + static_cast<unsigned int>(start)));
        for (unsigned int k = 0; k < 256; ++k) {
            frames.push_back(Command(0x79, k, At(group, 4 * k), At(group, 4 * k + 1), At(group, 4 * k + 2),
                                     At(group, 4 * k + 3)));
        }
        frames.push_back(Command(0x7A, plan_a ? SlowCrcA(group) : SlowCrcB(group)));
    }
    frames.push_back(Command(0x7C, plan_a ? SlowCrcA(padded) : SlowCrcB(image)));
    frames.push_back(Command(0x7E, 0xAA));
    return frames;
}

class WholeJob : public SessionFixture {
  protected:
    /// The answers of a device that is content with everything.
    void Answer(unsigned int pf, const unsigned char* d) {
        const auto next = static_cast<unsigned char>((kBase >> 8 & 0xFF) + 4 * confirmed);
        if (pf == 0x70) Reply(0x71, {1, 0x10, d[2], d[3], 0, 0, 0, 0});
        if (pf == 0x72) Reply(0x73, {1, 0x10, 0x20, 0, 0, plan, 0, 0});
        if (pf == 0x74) Reply(0x75, {1, 0x10, 0x20, 0, 0, next, 0, 8});
        if (pf == 0x74) Reply(0x76, {1, 0x10, 0x20, 0, 0, 0, 0, 0});
        if (pf == 0x77) Reply(0x78, {1, 0x10, 0x20, d[3], d[4], d[5], d[6], 0});
        if (pf == 0x7A) ++confirmed;
        if (pf == 0x7A) Reply(0x7B, {1, 0x10, 0x20, 0xAA, 0, static_cast<unsigned char>(next + 4), 0, 8});
        if (pf == 0x7C) Reply(0x7D, {1, 0x10, 0x20, 0, 0, 0, 0, 0});
        if (pf == 0x7E) Reply(0x7F, {1, 0x10, 0x20, 0xAA, 0, 0, 0, 0});
    }

    /// Runs the job to its end; what it put onto the bus, but for its heartbeats.
    Texts Run() {
        Texts sent;
        for (int pass = 0; pass < 5000 && session.m_finished == 0; ++pass) {
            session.Runloop();
            for (const can_frame& frame : Frames()) {
                const unsigned int pf = frame.can_id >> 16 & 0xFF;
                EXPECT_EQ(frame.can_id, 0x9000E08AU | pf << 16);
                EXPECT_EQ(frame.can_dlc, 8);
                const unsigned char* d = frame.data;
                if (pf != 0x70) {
                    EXPECT_TRUE(std::equal(d, d + 3, "\x01\x10\x20"));
                    sent.push_back(Command(pf, d[3], d[4], d[5], d[6], d[7]));
                }
                Answer(pf, d);
            }
        }
        return sent;
    }

    BenchDir bench;
    unsigned char plan = 0;
    unsigned int confirmed = 0;
};

TEST_F(WholeJob, PutsTheseFramesOntoTheBusAndNoOthers) {
    const std::string image = TestImage(2501);
    for (const bool plan_a : {false, true}) {
        plan = plan_a ? 1 : 0;
        confirmed = 0;
        session.m_finished = session.m_runstep = 0;
        Texts sent;
        Printed([&] {
            session.CacheClean();
            session.SetAddress(1, 0xE0, 0x10, 0x20);
            session.LoadData(bench.Write("image", image).c_str());
            sent = Run();
        });
        const Texts expected = Expected(image, plan_a);
        const auto [other, wanted_frame] = std::ranges::mismatch(sent, expected);
        EXPECT_TRUE(other == sent.end() && wanted_frame == expected.end())
            << "plan " << int{plan} << ", frame " << other - sent.begin() << ": "
            << (other == sent.end() ? "none" : *other) << " instead of "
            << (wanted_frame == expected.end() ? "none" : *wanted_frame);
        EXPECT_EQ(session.m_finished, 1);
        EXPECT_EQ(session.m_errorcode, 0);
    }
}

}  // namespace
