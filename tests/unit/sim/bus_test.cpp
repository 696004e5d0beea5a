// The bench bus and its candump log.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "benchdir.h"
#include "bus.h"
#include "candump.h"
#include "fd.h"

using namespace velmorin;

namespace sim {
namespace {

using Ids = std::vector<std::int64_t>;

class BenchBus : public testing::Test {
  protected:
    /// A socket tied to the bus's path by `tie`: connect or bind.
    template <typename Tie>
    Fd Socket(Tie tie) const {
        Fd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0));
        sockaddr_un address{AF_UNIX, {}};
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(tie(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return fd;
    }
    Fd Node() const { return Socket(connect); }

    static can_frame Frame(std::uint32_t id) { return {id, {8}, 0, 0, 0, {}}; }

    static void Put(const Fd& node, std::uint32_t id) {
        const can_frame frame = Frame(id);
        EXPECT_EQ(send(node.get(), &frame, sizeof frame, 0), 16);
    }

    /// Identifiers of all frames that wait for the node.
    static Ids Heard(const Fd& node) {
        Ids ids;
        can_frame frame{};
        while (recv(node.get(), &frame, sizeof frame, 0) == 16) ids.push_back(frame.can_id);
        return ids;
    }

    /// Lets the bus do all it has to do: identifiers of the frames it tells of, and -1 for a node that went.
    static Ids Run(Bus& bus) {
        Ids told;
        for (int idle = 0; idle < 3;) {
            const auto event = bus.Receive();
            idle += !event;
            if (event)
                told.push_back(event->kind == BusEvent::kFrame ? event->frame.can_id : Ids::value_type{-1});
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

    BenchDir bench;
    const std::string dir = bench.Root().string(), path = dir + "/can0";
    bool joined = false;
};

TEST_F(BenchBus, PassesEveryFrameToEveryOtherNodeWhileNodesComeAndGo) {
    const auto bus = OpenBench(dir, joined);
    EXPECT_FALSE(joined);
    Fd a = Node();
    const Fd b = Node(), c = Node();
    Put(a, 1);
    EXPECT_EQ(Run(*bus), Ids{1});
    Put(b, 2);
    EXPECT_EQ(Run(*bus), Ids{2});
    bus->Send(Frame(3));
    EXPECT_EQ(Heard(a), (Ids{2, 3}));
    EXPECT_EQ(Heard(b), (Ids{1, 3}));
    EXPECT_EQ(Heard(c), (Ids{1, 2, 3}));

    Put(a, 4);
    EXPECT_EQ(bus->Receive()->frame.can_id, 4U);
    const Fd late = Node();
    Put(a, 5);
    a = Fd();
    EXPECT_EQ(Run(*bus), (Ids{5, -1})) << "its last frame first";
    EXPECT_EQ(Heard(late), Ids{5}) << "it was connected when that frame was sent";
}

TEST_F(BenchBus, DropsWhatIsNotAFrameAndNothingElse) {
    const auto bus = OpenBench(dir, joined);
    Fd sender = Node();
    const Fd other = Node();
    const char bytes[64] = {};
    EXPECT_EQ(send(sender.get(), bytes, 0, 0), 0);
    EXPECT_EQ(Run(*bus), Ids{}) << "no end either";
    for (const std::uint32_t length : {0U, 1U, 15U, 17U, 64U, 0U}) {
        EXPECT_EQ(send(sender.get(), bytes, length, 0), static_cast<ssize_t>(length));
        Put(sender, length);
    }
    sender = Fd();
    EXPECT_EQ(Run(*bus), (Ids{0, 1, 15, 17, 64, 0, -1}));
    EXPECT_EQ(Heard(other), (Ids{0, 1, 15, 17, 64, 0}));
}

TEST_F(BenchBus, ANodeThatDoesNotReadHoldsUpNobody) {
    const auto bus = OpenBench(dir, joined);
    const Fd sender = Node(), reader = Node(), sleeper = Node();
    for (std::uint32_t i = 0; i < 5000; ++i) {
        Put(sender, i);
        Run(*bus);
        EXPECT_EQ(Heard(reader), Ids{i});
    }
    const std::size_t kept = Heard(sleeper).size();
    EXPECT_TRUE(kept > 100 && kept < 5000) << kept;
}

TEST_F(BenchBus, ASecondSimulatorJoinsALivingHub) {
    auto hub = OpenBench(dir, joined);
    const auto node = OpenBench(dir, joined);
    EXPECT_TRUE(joined);
    const Fd other = Node();
    Put(other, 5);
    EXPECT_EQ(Run(*hub), Ids{5});
    EXPECT_EQ(Run(*node), Ids{5});
    node->Send(Frame(6));
    EXPECT_EQ(Run(*hub), Ids{6});
    EXPECT_EQ(Heard(other), Ids{6});
    hub.reset();
    EXPECT_EQ(node->Receive()->kind, BusEvent::kBusGone);
}

TEST_F(BenchBus, ADeadHubsSocketIsReplacedAndTheOwnOneRemoved) {
    Socket(bind);
    ASSERT_TRUE(std::filesystem::exists(path));
    OpenBench(dir, joined).reset();
    EXPECT_FALSE(joined);
    EXPECT_FALSE(std::filesystem::exists(path));
    auto bus = OpenBench(dir, joined);
    std::filesystem::remove(path);
    std::ofstream(path) << "someone else's by now";
    bus.reset();
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(BenchBus, SaysWhyItCannotBeOpened) {
    const std::string longest(107 - sizeof "/can0" + 1, 'x');
    EXPECT_EQ(OpeningFails(longest), "--bench " + longest + ": No such file or directory");
    EXPECT_EQ(OpeningFails(longest + "x"),
              longest + "x/can0: too long for a Unix socket (108 characters, at most 107)");
    bench.Write("can0", "a file");
    EXPECT_EQ(OpeningFails(dir), path + ": exists and is not a socket");
}

TEST(SimCandump, WritesEveryKindOfFrame) {
    const struct {
        can_frame frame;
        const char* line;
    } cases[] = {
        {{0x80000001, {0}, 0, 0, 0, {}}, "00000001#"},
        {{0x123, {8}, 0, 0, 0, {0xDE, 0xAD, 0xBE, 0xEF, 1, 2, 3, 4}}, "123#DEADBEEF01020304"},
        {{0x7, {200}, 0, 0, 0, {}}, "007#0000000000000000"},
        {{0x40000123, {0}, 0, 0, 0, {}}, "123#R"},
        {{0xC0000123, {8}, 0, 0, 0, {}}, "00000123#R8"},
        {{0x20000004, {1}, 0, 0, 0, {0x40}}, "20000004#40"},
    };
    for (const auto& [frame, line] : cases)
        EXPECT_EQ(CandumpLine({12, 345}, "can0", frame), std::string("(0000000012.000345) can0 ") + line);
}

}  // namespace
}  // namespace sim
