// The bench bus, its candump log, and the program's end.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bus.h"
#include "candump.h"
#include "command.h"
#include "fd.h"

namespace sim {
namespace {

class BenchBus : public testing::Test {
  protected:
    BenchBus() {
        char name[] = "/tmp/simbusXXXXXX";
        dir = mkdtemp(name);
    }
    ~BenchBus() override { std::filesystem::remove_all(dir); }

    static sockaddr_un AddressOf(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        return address;
    }

    Fd Node() const {
        Fd node(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0));
        const sockaddr_un address = AddressOf(dir + "/can0");
        EXPECT_EQ(connect(node.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return node;
    }

    static void Put(const Fd& node, std::uint32_t id) {
        can_frame frame{};
        frame.can_id = id;
        EXPECT_EQ(send(node.get(), &frame, sizeof frame, 0), 16);
    }

    /// Identifiers of all frames that wait for the node.
    static std::vector<std::uint32_t> Heard(const Fd& node) {
        std::vector<std::uint32_t> ids;
        can_frame frame{};
        while (recv(node.get(), &frame, sizeof frame, 0) == 16) ids.push_back(frame.can_id);
        return ids;
    }

    /// Lets the bus do all it has to do: identifiers of the frames it tells of, and -1 for a node that went.
    static std::vector<std::int64_t> Run(Bus& bus) {
        std::vector<std::int64_t> told;
        for (int idle = 0; idle < 3;) {
            const auto event = bus.Receive();
            if (!event) {
                ++idle;
                continue;
            }
            told.push_back(event->kind == BusEvent::kFrame ? std::int64_t{event->frame.can_id} : -1);
        }
        return told;
    }

    std::string OpeningFails(const std::string& where) {
        try {
            OpenBench(where, joined);
        } catch (const BusError& error) {
            return error.what();
        }
        return "";
    }

    std::string dir;
    bool joined = false;
};

using Ids = std::vector<std::uint32_t>;
using Told = std::vector<std::int64_t>;

TEST_F(BenchBus, PassesEveryFrameToEveryOtherNode) {
    const auto bus = OpenBench(dir, joined);
    EXPECT_FALSE(joined);
    const Fd a = Node(), b = Node(), c = Node();
    Put(a, 1);
    EXPECT_EQ(Run(*bus), Told{1});
    Put(b, 2);
    EXPECT_EQ(Run(*bus), Told{2});
    bus->Send(can_frame{3, {8}, 0, 0, 0, {}});
    EXPECT_EQ(Heard(a), (Ids{2, 3}));
    EXPECT_EQ(Heard(b), (Ids{1, 3}));
    EXPECT_EQ(Heard(c), (Ids{1, 2, 3}));

    Put(a, 4);
    const Fd late = Node();
    Put(a, 5);
    EXPECT_EQ(Run(*bus), (Told{4, 5}));
    const Ids heard = Heard(late);
    EXPECT_TRUE(!heard.empty() && heard.back() == 5) << "it was connected when that frame was sent";
}

TEST_F(BenchBus, DropsWhatIsNotAFrameAndNothingElse) {
    const auto bus = OpenBench(dir, joined);
    Fd sender = Node();
    const Fd other = Node();
    const char bytes[64] = {};
    EXPECT_EQ(send(sender.get(), bytes, 0, 0), 0);
    EXPECT_EQ(Run(*bus), Told{});
    for (const std::uint32_t length : {0U, 1U, 15U, 17U, 64U, 0U}) {
        EXPECT_EQ(send(sender.get(), bytes, length, 0), static_cast<ssize_t>(length));
        Put(sender, length);
    }
    sender = Fd();
    EXPECT_EQ(Run(*bus), (Told{0, 1, 15, 17, 64, 0, -1}));
    EXPECT_EQ(Heard(other), (Ids{0, 1, 15, 17, 64, 0}));
}

TEST_F(BenchBus, ANodeThatDoesNotReadHoldsUpNobody) {
    const auto bus = OpenBench(dir, joined);
    const Fd sender = Node(), reader = Node(), sleeper = Node();
    Run(*bus);
    for (std::uint32_t i = 0; i < 5000; ++i) {
        Put(sender, i);
        Run(*bus);
        EXPECT_EQ(Heard(reader), Ids{i});
    }
    const Ids heard = Heard(sleeper);
    EXPECT_GT(heard.size(), 100U);
    EXPECT_LT(heard.size(), 5000U);
}

TEST_F(BenchBus, NodesComeAndGo) {
    const auto bus = OpenBench(dir, joined);
    Fd leaver = Node();
    const Fd stayer = Node();
    Put(leaver, 7);
    leaver = Fd();
    EXPECT_EQ(Run(*bus), (Told{7, -1})) << "its last frame first";
    Put(stayer, 8);
    EXPECT_EQ(Run(*bus), Told{8});
    EXPECT_EQ(Heard(stayer), Ids{7});
}

TEST_F(BenchBus, ASecondSimulatorJoinsALivingHub) {
    auto hub = OpenBench(dir, joined);
    const auto node = OpenBench(dir, joined);
    EXPECT_TRUE(joined);
    const Fd other = Node();
    Put(other, 5);
    EXPECT_EQ(Run(*hub), Told{5});
    EXPECT_EQ(Run(*node), Told{5});
    node->Send(can_frame{6, {8}, 0, 0, 0, {}});
    EXPECT_EQ(Run(*hub), Told{6});
    EXPECT_EQ(Heard(other), Ids{6});
    hub.reset();
    EXPECT_EQ(node->Receive()->kind, BusEvent::kBusGone);
}

TEST_F(BenchBus, ADeadHubsSocketIsReplacedAndTheOwnOneRemoved) {
    const std::string path = dir + "/can0";
    const sockaddr_un address = AddressOf(path);
    {
        const Fd dead(socket(AF_UNIX, SOCK_SEQPACKET, 0));
        ASSERT_EQ(bind(dead.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ASSERT_TRUE(std::filesystem::exists(path));
    {
        const auto bus = OpenBench(dir, joined);
        EXPECT_FALSE(joined);
        Node();
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    {
        const auto bus = OpenBench(dir, joined);
        std::filesystem::remove(path);
        std::ofstream(path) << "someone else's by now";
    }
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(BenchBus, SaysWhyItCannotBeOpened) {
    const std::string missing = dir + "/none";
    EXPECT_EQ(OpeningFails(missing), "--bench " + missing + ": No such file or directory");
    const std::string longest(107 - std::strlen("/can0"), 'x');
    EXPECT_EQ(OpeningFails(longest), "--bench " + longest + ": No such file or directory");
    EXPECT_EQ(OpeningFails(longest + "x"),
              longest + "x/can0: too long for a Unix socket (108 characters, at most 107)");
    std::ofstream(dir + "/can0") << "a file";
    EXPECT_EQ(OpeningFails(dir), dir + "/can0: exists and is not a socket");
}

TEST(SimCandump, WritesEveryKindOfFrame) {
    const struct {
        can_frame frame;
        const char* line;
    } cases[] = {
        {{0x9070E08A, {2}, 0, 0, 0, {0x00, 0x11}}, "(0000000012.000345) can0 1070E08A#0011"},
        {{0x80000001, {0}, 0, 0, 0, {}}, "(0000000012.000345) can0 00000001#"},
        {{0x123, {8}, 0, 0, 0, {0xDE, 0xAD, 0xBE, 0xEF, 1, 2, 3, 4}},
         "(0000000012.000345) can0 123#DEADBEEF01020304"},
        {{0x7, {200}, 0, 0, 0, {}}, "(0000000012.000345) can0 007#0000000000000000"},
        {{0x40000123, {0}, 0, 0, 0, {}}, "(0000000012.000345) can0 123#R"},
        {{0xC0000123, {8}, 0, 0, 0, {}}, "(0000000012.000345) can0 00000123#R8"},
        {{0x20000004, {1}, 0, 0, 0, {0x40}}, "(0000000012.000345) can0 20000004#40"},
    };
    for (const auto& each : cases) EXPECT_EQ(CandumpLine({12, 345}, "can0", each.frame), each.line);
}

}  // namespace
}  // namespace sim
