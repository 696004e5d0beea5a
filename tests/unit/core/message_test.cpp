// What RecieveCanMuchData hands out, which no run looks at: lengths, kinds, and the payload of a whole
// message.
#include <gtest/gtest.h>

#include <cstring>

#include "desk.h"

namespace {

TEST(Receive, GivesLengthsKindsAndWholeMessages) {
    canframe session;
    Desk desk(session, std::nullopt);
    unsigned char data[1024] = {};
    const auto read = [&](unsigned int pf, int length, const char* bytes) {
        can_frame frame = ReplyOf(pf);
        std::memcpy(frame.data, bytes, 8);
        frame.can_dlc = static_cast<unsigned char>(length);
        desk.Arrive(Desk::kToUpdater, frame);
        std::memset(data, 0xEE, sizeof data);
        int kind = -1;
        const int result = session.RecieveCanMuchData(data, &kind);
        return std::pair{result, kind};
    };
    int kind = -1;
    EXPECT_EQ(session.RecieveCanMuchData(data, &kind), 0);
    EXPECT_EQ(kind, 0) << "a quiet bus";
    EXPECT_EQ(read(0x73, 3, "\1\2\3\4\5\6\7\x8"), (std::pair{3, 0x73}));
    EXPECT_EQ(0, std::memcmp(data, "\1\2\3\xEE", 4)) << "only the frame's own bytes are copied";
    EXPECT_EQ(read(0x73, 15, "\1\2\3\4\5\6\7\x8"), (std::pair{8, 0x73}));
    EXPECT_EQ(read(0x13, 8, "\1\3\x8\0\x10\x11\x12\x13"), (std::pair{1, 250})) << "a wrong number of frames";
    EXPECT_EQ(read(0x13, 8, "\1\2\x8\0\x10\x11\x12\x13"), (std::pair{0, 250}));
    // 8 + 0 + 2 + (0x10 + … + 0x17) = 0xA6
    EXPECT_EQ(read(0x13, 8, "\2\x14\x15\x16\x17\xA6\0\0"), (std::pair{0, 0x13}));
    EXPECT_EQ(0, std::memcmp(data, "\x10\x11\x12\x13\x14\x15\x16\x17\xEE", 9));
}

}  // namespace
