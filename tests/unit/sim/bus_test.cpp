// The bench bus on its sockets.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <string>
#include <vector>

#include "benchdir.h"
#include "fd.h"
#include "simbus.h"

namespace sim {
namespace {

using Ids = std::vector<std::int64_t>;

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
