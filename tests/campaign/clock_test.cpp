// The wall clock jumps in the middle of a job. Nothing but the recorded time may show it.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "benchdir.h"
#include "fakeclock.h"
#include "fakewait.h"
#include "membus.h"
#include "sessionwatch.h"
#include "sqlrows.h"

using namespace velmorin;

namespace {

constexpr long long kSecond = 1'000'000;
constexpr long long kStart = 1'700'000'000 * kSecond + 900'000;

struct Course {
    std::vector<unsigned int> frames;  ///< identifiers, each with the pass it was written in
    long waited_ms;
    std::string row;
};

/// Runs a whole job. The clock stands still at its start until pass 500, then at `end`.
Course RunWithClock(long long end) {
    const BenchDir bench;
    fakeclock::Set(kStart);
    testing::internal::CaptureStdout();
    canframe session;
    membus::Attach(session);
    session.LoadData(bench.Write("image", TestImage(1500)).c_str());
    SessionWatch watch(session);
    Course course;
    const long before = fakewait::WaitedMs();
    while (session.m_finished != 1 && session.m_loopcount < 5000) {
        EXPECT_EQ(watch.Pass(session), "");
        for (const can_frame& frame : membus::TheBus().written) {
            course.frames.insert(course.frames.end(), {session.m_loopcount, frame.can_id});
            membus::SayYes(frame);
        }
        if (session.m_loopcount == 500) fakeclock::Set(end);
    }
    course.waited_ms = fakewait::WaitedMs() - before;
    session.CacheClean();
    session.UpdateRecord();
    testing::internal::GetCapturedStdout();
    course.row = SqlRows(bench.StagingFile(), "SELECT result,timeuse,timestamp FROM tag_history").at(0);
    return course;
}

TEST(Clock, JumpsChangeNeitherPaceNorProtocolOnlyTheRecordedTime) {
    const struct {
        long long end;
        const char* row;
    } jumps[] = {
        {1'700'000'002 * kSecond + 100'000, "0|1200|1700000000"},     // as if nothing had happened
        {1'700'007'200 * kSecond + 900'000, "0|2905032|1700000000"},  // two hours forth, modulo 2^32 us
        {1'699'982'000 * kSecond + 900'000, "0|3474836|1700000000"},  // five hours back
        {0, "0|3889431|1700000000"},                                  // to the epoch
    };
    const Course still = RunWithClock(kStart);
    EXPECT_EQ(still.row, "0|0|1700000000");
    for (const auto& jump : jumps) {
        const Course course = RunWithClock(jump.end);
        EXPECT_EQ(course.row, jump.row);
        EXPECT_EQ(course.frames, still.frames);
        EXPECT_EQ(course.waited_ms, still.waited_ms);
    }
}

}  // namespace
