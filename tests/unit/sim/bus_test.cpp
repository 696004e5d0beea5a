// The bench bus, and how a bus with a bit rate passes frames.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <string>
#include <vector>

#include "benchdir.h"
#include "busload.h"
#include "fd.h"
#include "framebits.h"
#include "simbus.h"
#include "timedbus.h"

namespace sim {
namespace {

using Ids = std::vector<std::int64_t>;

can_frame Frame(std::uint32_t id, std::uint8_t length = 0) {
    return {id, {length}, 0, 0, 0, {}};
}

TEST(SimFrameBits, AreThoseOnTheWire) {
    // The bits up to the checksum, the checksum, [stuff bits] in both; then 13 of delimiters, acknowledge,
    // end of frame and intermission.
    const struct {
        can_frame frame;
        int bits;
    } cases[] = {
        // 34 zeros, [1] after each five: 34 + 6 + 13
        {Frame(0), 53},
        // 00000[1]00000[1]00000[1] 1 00000[1], 61 zeros and then 12 times [1] in 60; 83 + 15 + 16 + 13.
        // Checksum 001010001011011
        {Frame(0, 8), 127},
        // A stuff bit counts for the next: 011111[0]0000[1]1100000[1]00111101101010001: 34 + 3 + 13
        {Frame(0x7C3), 50},
        // 0001001000111 0 0 1000, remote: 000100100011100 1000 11011111[0]0011010: 34 + 1 + 13
        {Frame(0x40000123, 8), 48},
        // 0 11111[0]11111[0]11111[0]11111[0]11111[0]11111[0] 1 00000[1]0, checksum 01110010001000: 54 + 7 +
        // 13
        {Frame(0x9FFFFFFF), 74},
        // 0 100000[1]1111[0]011 0 1 1 1 1 00000[1] 10001010 0 00 1000 00[1]000001000100000[1]... : 118 + 15 +
        // 13
        {{0x9079E08A, {8}, 0, 0, 0, {1, 0x10, 0x20}}, 146},
    };
    for (const auto& [frame, bits] : cases) EXPECT_EQ(FrameBits(frame), bits) << std::hex << frame.can_id;
}

/// Identifiers in the order in which their frames end, asked for long afterwards.
Ids Order(TimedBus& bus) {
    Ids order;
    while (const auto passed = bus.TakeEnded(kNanosPerSecond)) order.push_back(passed->frame.can_id);
    return order;
}

TEST(SimTimedBus, TheLowestIdentifierGoesFirstAndANodesFramesInTheirOrder) {
    TimedBus bus(125000);
    const Ids order = {0x122, 0x122 | CAN_RTR_FLAG, 0x84880000, 0x84880000 | CAN_RTR_FLAG, 0x848BFFFF, 0x123};
    for (int node = 6; node > 0; --node)
        EXPECT_TRUE(
            bus.Offer(node, Frame(static_cast<canid_t>(order[static_cast<std::size_t>(node) - 1])), 0));
    EXPECT_TRUE(bus.Offer(6, Frame(1), 0));
    EXPECT_TRUE(bus.Offer(7, Frame(2), 1)) << "not there when the first one started";
    EXPECT_EQ(Order(bus), (Ids{0x122, 2, order[1], order[2], order[3], order[4], 0x123, 1}));
}

TEST(SimTimedBus, ItsTimeIsComputedWheneverItIsAsked) {
    TimedBus bus(125000);  // 8 us a bit: 50 to the end of a frame, 3 more to the next
    for (const Nanos since : {1000, 2000, 2'000'000}) EXPECT_TRUE(bus.Offer(1, Frame(0), since));
    EXPECT_EQ(bus.NextEnd(), 401'000);
    EXPECT_FALSE(bus.TakeEnded(400'999));
    EXPECT_EQ(bus.TakeEnded(401'000)->end, 401'000);
    EXPECT_EQ(bus.TakeEnded(9'000'000)->end, 825'000);
    EXPECT_EQ(bus.TakeEnded(9'000'000)->end, 2'400'000) << "the bus was idle before it";
    EXPECT_EQ(bus.NextEnd(), std::nullopt);
}

TEST(SimTimedBus, ANodeHasRoomForTenFrames) {
    TimedBus bus(125000);
    EXPECT_FALSE(bus.Offer(1, Frame(0, 9), 0));
    EXPECT_FALSE(bus.Offer(1, Frame(CAN_ERR_FLAG), 0));
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(bus.Offer(1, Frame(0), 0));
    EXPECT_FALSE(bus.Offer(1, Frame(0), 0));
    EXPECT_TRUE(bus.Offer(2, Frame(0), 0));
    bus.TakeEnded(kNanosPerSecond);
    EXPECT_TRUE(bus.Offer(1, Frame(0), 0));
}

TEST(SimBusLoad, CountsFromTheFirstGroupStartToTheLastVerdict) {
    BusLoad load(125000, 0xE0, 0);
    constexpr Nanos kMs = 1'000'000;
    load.Add(Frame(0), 1 * kMs);
    load.Add(Frame(0x907B8AE0), 2 * kMs);                             // before any group start
    EXPECT_EQ(load.Text(10 * kMs), "bus 125000 bit/s: busy 10.1 %");  // 126 bits of 8 us
    load.Add(Frame(0x9077E08A), 10 * kMs);                            // 71 bits, 68 of them before
    load.Add(Frame(0), 11 * kMs);
    load.Add(Frame(0x9077E08A), 12 * kMs);
    load.Add(Frame(0x907B8AE0), 13 * kMs);  // 73 bits, 3 of them after
    load.Add(Frame(0x907B8AE1), 14 * kMs);
    load.Add(Frame(0), 15 * kMs);
    // 215 bits and 53 others within 3 ms + 71 bits; 126 + 268 + 71 + 53 bits in all
    EXPECT_EQ(load.Text(20 * kMs),
              "bus 125000 bit/s: busy 20.7 %; 60.09 % from the first group start to the "
              "last verdict, 48.21 % with frames of the job");
}

Fd Node(const std::string& path) {
    Fd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0));
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return fd;
}

/// Identifiers of all frames that wait for the node.
Ids Heard(const Fd& node) {
    Ids ids;
    can_frame frame{};
    while (recv(node.get(), &frame, sizeof frame, 0) == 16) ids.push_back(frame.can_id);
    return ids;
}

TEST(BenchBus, HoldsBackWhoWritesTooMuchAndLosesNothingButWhatIsNoFrame) {
    const BenchDir bench;
    bool joined = true;
    const auto bus = OpenBench(bench.Root().string(), 5000, joined);  // 10 to 11 ms a frame
    EXPECT_FALSE(joined);
    Fd writer = Node(bench.Root() / "can0");
    const Fd reader = Node(bench.Root() / "can0");
    const int least = 1;
    setsockopt(writer.get(), SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
    for (const std::size_t length : {1U, 15U, 17U}) {
        send(writer.get(), "neither a frame nor its length", length, 0);
        bus->Receive();
    }
    Ids all;
    for (int i = 0; i < 2; ++i) {
        for (can_frame frame{}; send(writer.get(), &frame, sizeof frame, 0) == 16; ++frame.can_id)
            all.push_back(frame.can_id);
        EXPECT_FALSE(bus->Receive()) << "a frame has ended at once, or this machine stood still";
    }
    EXPECT_NEAR(static_cast<double>(all.size()), 10, 2);
    EXPECT_EQ(Heard(reader), Ids{}) << "a frame arrives at its end";
    writer = Fd();
    while (bus->Receive().value_or(BusEvent{}).kind != BusEvent::kNodeGone) continue;
    EXPECT_EQ(Heard(reader), all) << "the node goes after its frames";
}

}  // namespace
}  // namespace sim
