// What logs are explained as: each by a story of what was on the bus.
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "storylog.h"

namespace velmorin {
namespace {

constexpr int kNone = -9;

struct Story {
    const char* name;
    void (*tell)(StoryLog& log);
    int result;
    const char* diagnoses;
};

const Story kStories[] = {
    {"SilentDevice", [](auto& l) { l.Beat(4, false), l.Repeat(9, [&] { l.Ask(0x72); }); }, kNone,
     "silent-device log-ends-early"},
    {"StartRefused", [](auto& l) { l.Beat(4), l.Ask(0x72), l.Answer(0x73, 3), l.Wait(2), l.Beat(1); }, 10,
     "start-refused"},
    {"VersionRefused", [](auto& l) { l.Beat(4), l.Answer(0x08, 1); }, 8, "version-refused"},
    {"NoAddress", [](auto& l) { l.Beat(4), l.Ask(0x72), l.Answer(0x73), l.Repeat(3, [&] { l.Ask(0x74); }); },
     kNone, "no-address log-ends-early"},
    {"NoGoAhead",
     [](auto& l) {
         l.Beat(4), l.Ask(0x72), l.Answer(0x73), l.Ask(0x74), l.Answer(0x75), l.Wait(11), l.Beat(1),
             l.Wait(10), l.Beat(1);
     },
     kNone, "no-go-ahead log-ends-early"},
    {"StartsUnanswered", [](auto& l) { l.Begin(), l.Repeat(3, [&] { l.Start(0); }); }, 12,
     "no-group-start-reply"},
    {"PacketsLost", [](auto& l) { l.Begin(), l.Repeat(3, [&] { l.Send(0, 10, 13), l.Verdict(0x55, 1); }); },
     12, "packets-lost group-refused"},
    {"EraseFailed", [](auto& l) { l.Begin(), l.Repeat(3, [&] { l.Send(0), l.Verdict(0x66, 1); }); }, 12,
     "erase-failed"},
    {"NoVerdict", [](auto& l) { l.Begin(), l.Send(0), l.Repeat(4, [&] { l.Wait(0.5), l.Ask(0x7A); }); },
     kNone, "no-verdict log-ends-early"},
    {"DoubledVerdictTakesTheNextGroup",
     [](auto& l) {
         l.Begin(), l.Send(0), l.Verdict(0xAA, 1), l.Verdict(0xAA, 2), l.Start(1), l.Groups(2, 2);
         l.Ask(0x7C), l.Answer(0x7D, 1);
     },
     5, "image-refused doubled-verdict"},
    {"NoCheckReply", [](auto& l) { l.Begin(), l.Groups(0, 0), l.Repeat(5, [&] { l.Ask(0x7C); }); }, kNone,
     "no-check-reply log-ends-early"},
    {"NoResetReply",
     [](auto& l) {
         l.Begin(), l.Groups(0, 0), l.Ask(0x7C), l.Answer(0x7D), l.Repeat(5, [&] { l.Ask(0x7E, 0xAA); });
     },
     kNone, "no-reset-reply log-ends-early"},
    {"LinkLostAndFoundAgain",
     [](auto& l) {
         l.Begin(), l.Start(0), l.Answer(0x78), l.Beat(4, false), l.Ask(0x72), l.Answer(0x73), l.Ask(0x74);
         l.Answer(0x75, 0, 0, 0x44), l.Answer(0x76), l.Groups(0, 0), l.End();
     },
     0, "success link-lost"},
    {"DeviceNamesItsFirstAddressAgain",
     [](auto& l) {
         l.Begin(), l.Groups(0, 0), l.Start(1), l.Answer(0x78), l.Beat(4, false), l.Ask(0x72), l.Answer(0x73),
             l.Ask(0x74), l.Answer(0x75, 0, 0, 0x40);
     },
     kNone, "log-ends-early link-lost device-restarted"},
    {"Strangers", [](auto& l) { l.Begin(), l.From(0xE5, 0x71), l.Groups(0, 0), l.End(); }, 0,
     "success strangers"},
    {"ForgedReset", [](auto& l) { l.Begin(), l.Start(0), l.Answer(0x78), l.Answer(0x7F, 0xAA), l.Ask(0x79); },
     0, "forged-reset"},
    {"Interrupted",
     [](auto& l) { l.Begin(), l.Start(0), l.Answer(0x78), l.Wait(4), l.Frame(0x0AAAAAAA, {1}); }, 13,
     "interrupted"},
    {"NobodyAcknowledges", [](auto& l) { l.Beat(2, false), l.Frame(0x30000020, {}), l.Beat(2, false); },
     kNone, "silent-device bus-errors log-ends-early"},
    {"GoAheadsUseTheStartsUp",
     [](auto& l) {
         l.Begin(), l.Repeat(3, [&] { l.Start(0), l.Answer(0x78), l.Wait(-0.4), l.Answer(0x76); });
     },
     12, "group-refused"},
    // A fourth start is due at once after the third refusal; a reply read after it still counts.
    {"VerdictWhileClosingLeadsBack",
     [](auto& l) {
         l.Begin(), l.Repeat(3, [&] { l.Send(0), l.Verdict(0x55, 1), l.Wait(-0.51); });
         l.Verdict(0xAA, 1), l.Groups(1, 1), l.End();
     },
     0, "success group-refused"},
};

TEST(Stories, AreExplained) {
    for (const Story& story : kStories) {
        SCOPED_TRACE(story.name);
        StoryLog log;
        story.tell(log);
        const std::vector<Update> updates = log.Updates();
        ASSERT_EQ(updates.size(), 1U);
        EXPECT_EQ(updates[0].result.value_or(kNone), story.result);
        std::string ids;
        for (const Diagnosis& diagnosis : Diagnose(updates[0])) ids += ' ' + std::string(diagnosis.id);
        EXPECT_EQ(ids, ' ' + std::string(story.diagnoses));
    }
}

TEST(Counts, TellLostFromLateAndDoubled) {
    StoryLog log;
    log.Beat(4);
    log.Repeat(2, [&] { log.Ask(0x72); });  // one reply lost
    log.Answer(0x73, 0, 0, 2);
    log.Repeat(2, [&] { log.Ask(0x74); });  // both replies come, the first of them late
    log.Answer(0x75, 0, 0, 0x40), log.Answer(0x75, 0, 0, 0x44), log.Answer(0x76);
    log.Send(0, 3, 5);                                         // two packets lost
    log.Verdict(0xAA, 2), log.Start(1), log.Verdict(0x55, 3);  // a doubled verdict
    log.Answer(0x7D);                                          // a reply without its command
    const Update update = log.Updates().at(0);
    EXPECT_EQ(update.lost, 1 + 2 + 1U);
    EXPECT_EQ(update.doubled, 1U);
    EXPECT_EQ(update.resends, 2U);
    EXPECT_NEAR(static_cast<double>(update.late), 1.022e6, 1);
    EXPECT_NEAR(RateOf(update), 1024 / 0.257, 40);
}

TEST(Updates, OfOneDeviceFollowEachOtherAndOfTwoRunSideBySide) {
    StoryLog first, second;
    first.Begin(), first.Groups(0, 0), first.Start(1);  // ends here: the updater starts anew
    StoryLog again;
    again.now = first.now + 1;
    again.Begin(), again.Groups(0, 1), again.End();
    second.charge = 0xE1;
    second.now = 100.0005;
    second.Begin(), second.Repeat(3, [&] { second.Send(0), second.Verdict(0x55, 1); });
    std::set<std::string> by_time;
    std::istringstream lines(first.text + again.text + second.text);
    for (std::string line; std::getline(lines, line);) by_time.insert(line + '\n');
    StoryLog bus;
    for (const std::string& line : by_time) bus.text += line;

    const std::vector<Update> updates = bus.Updates();
    ASSERT_EQ(updates.size(), 3U);
    EXPECT_EQ(updates[0].result, 13);
    EXPECT_EQ(updates[1].charge, 0xE1);
    EXPECT_EQ(updates[1].result, 12);
    EXPECT_EQ(updates[1].strangers.count, 0U);
    EXPECT_EQ(updates[2].result, 0);
}

}  // namespace
}  // namespace velmorin
