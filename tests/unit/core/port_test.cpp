// The port against recorded system calls, and its reads and writes on a socket pair.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "CanPort.h"
#include "canframe.h"
#include "printed.h"

using namespace velmorin;

namespace {

/// The kernel that sets a port up: notes every call and fails in one of them.
struct Kernel {
    int given_fd;
    std::string failing, calls;

    int Take(const std::string& call, int result) {
        calls += call + "\n";
        errno = ENODEV;
        return !failing.empty() && call.starts_with(failing) ? -1 : result;
    }
} kernel;

}  // namespace

extern "C" {

int system(const char* command) {
    return kernel.Take(command, 512);  // a command that fails stops nothing
}

int socket(int domain, int type, int protocol) noexcept {
    EXPECT_EQ(std::tuple(domain, type, protocol), std::tuple(29, 3, 1));
    return kernel.Take("socket", kernel.given_fd);
}

int ioctl(int, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    auto* interface = va_arg(arguments, ifreq*);
    va_end(arguments);
    interface->ifr_ifindex = 42;
    return kernel.Take(std::string(request == SIOCGIFINDEX ? "index of " : "?") + interface->ifr_name, 0);
}

int bind(int, const sockaddr* address, socklen_t size) noexcept {
    const auto* can = reinterpret_cast<const sockaddr_can*>(address);
    EXPECT_EQ(std::tuple(can->can_family, can->can_ifindex, size), std::tuple(29, 42, 16));
    return kernel.Take("bind", 0);
}

}  // extern "C"

namespace {

class Port : public testing::Test {
  protected:
    Port() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
        kernel = {ends[0], "", ""};
        traced = {ends[0], 1};
        bus = ends[1];
        unsetenv("CAN_LOG");
        unsetenv("VELMORIN_BENCH");
    }
    ~Port() override { close(bus); }

    CAN_Port traced{};
    int bus = -1;
};

TEST_F(Port, SetsUpTheInterfaceAndBindsToIt) {
    CAN_Port* opened = CAN_Init(1, 250000);
    EXPECT_EQ(kernel.calls,
              "ifconfig can1 down\nip link set can1 type can bitrate 250000\nifconfig can1 up\n"
              "socket\nindex of can1\nbind\n");
    const auto blocks = [&] { return (fcntl(kernel.given_fd, F_GETFL) & O_NONBLOCK) == 0; };
    EXPECT_FALSE(blocks());
    EXPECT_EQ(CAN_SetNonBlocking(opened, 0), 0);
    EXPECT_TRUE(blocks());
    EXPECT_EQ(CAN_SetNonBlocking(opened, 7), 0);
    EXPECT_FALSE(blocks());
    CAN_Close(opened);
    EXPECT_LT(CAN_SetNonBlocking(&traced, 1), 0) << "the descriptor is closed";
}

TEST_F(Port, TraceSwitchesOfPortAndSessionTakeOnlyOn) {
    for (const auto& [value, on, line] :
         {std::tuple{"ON", 1, "LOG_CAN TURN ON\n"}, {"on", 0, "LOG_CAN TURN OFF\n"}, {"", 0, ""}}) {
        setenv("CAN_UPDATE", value, 1);
        setenv("CAN_LOG", value, 1);
        canframe session;
        EXPECT_EQ(session.m_debug, on);
        EXPECT_EQ(Printed([&] { EXPECT_EQ(session.CAN_InitDevice(0, 125000), 0); }), line);
        EXPECT_EQ(session.m_canhandle->log_on, on);
        kernel.given_fd = dup(bus);  // the session closes its own
    }
}

TEST_F(Port, EveryFailureOfTheSetUpEndsTheProcess) {
    for (const auto& [failing, complaint] : {std::pair{"ifconfig can0 up", "^$"},
                                             {"socket", "^socket: No such device\n$"},
                                             {"index", "^SIOCGIFINDEX: No such device\n$"},
                                             {"bind", "^bind: No such device\n$"}}) {
        kernel.failing = failing;
        EXPECT_EXIT(CAN_Init(0, 125000), testing::ExitedWithCode(1), complaint);
    }
}

TEST_F(Port, IdentifiersArriveBare) {
    const struct {
        canid_t raw;
        const char* bare;
    } cases[] = {{0x98E58A12U, "18e58a12"}, {0xE0000004U, "20000004"}, {0x1FFFFFFFU, "000007ff"}};
    for (const auto& c : cases) {
        can_frame frame{};
        frame.can_id = c.raw;
        frame.can_dlc = 12;
        std::memcpy(frame.data, "\x01\x02\x03\x04\x05\x06\x07\x08", 8);
        ASSERT_EQ(write(bus, &frame, sizeof frame), 16);
        EXPECT_EQ(Printed([&] { ASSERT_EQ(CAN_Read(&traced, &frame), 1); }),
                  std::string("==>>>>>  read 16 bytes the ") + c.bare + "  08  01 02 03 04 05 06 07 08 \n");
        EXPECT_EQ(frame.can_id, std::strtoul(c.bare, nullptr, 16));
        EXPECT_EQ(frame.can_dlc, 12);
    }
}

TEST_F(Port, RefusedWriteIsTracedThenReported) {
    can_frame frame{};
    frame.can_id = 0x9079E08AU;
    frame.can_dlc = 9;
    traced.fd = -1;
    std::string trace;
    const auto write = [&] { trace = Printed([&] { EXPECT_EQ(CAN_Write(&traced, frame), 0); }); };
    EXPECT_EQ(Complained(write), "write: incomplete CAN frame\n");
    EXPECT_EQ(trace, "<<<<<== write -1 bytes the 9079e08a  09  00 00 00 00 00 00 00 00 \n");
}

}  // namespace
