// The port's set-up against recorded system calls. Its reads and writes: transcripts, session/port.txt.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string>
#include <tuple>

#include "CanPort.h"
#include "canframe.h"
#include "printed.h"

using namespace velmorin;

namespace {

/// The kernel that sets a port up: notes every call and fails in one of them.
struct Kernel {
    int fd;
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
    return kernel.Take("socket", kernel.fd = open("/dev/null", O_RDWR));
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
        kernel = {};
        unsetenv("CAN_LOG");
        unsetenv("VELMORIN_BENCH");
    }
};

TEST_F(Port, SetsUpTheInterfaceAndBindsToIt) {
    CAN_Port* opened = CAN_Init(1, 250000);
    EXPECT_EQ(kernel.calls,
              "ifconfig can1 down\nip link set can1 type can bitrate 250000\nifconfig can1 up\n"
              "socket\nindex of can1\nbind\n");
    const auto blocks = [&] { return (fcntl(kernel.fd, F_GETFL) & O_NONBLOCK) == 0; };
    EXPECT_FALSE(blocks());
    EXPECT_EQ(CAN_SetNonBlocking(opened, 0), 0);
    EXPECT_TRUE(blocks());
    EXPECT_EQ(CAN_SetNonBlocking(opened, 7), 0);
    EXPECT_FALSE(blocks());
    CAN_Close(opened);
    CAN_Port closed{kernel.fd, 0};
    EXPECT_LT(CAN_SetNonBlocking(&closed, 1), 0);
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

TEST_F(Port, RefusedWriteIsTracedOnStdoutAndReportedOnStderr) {
    CAN_Port traced{-1, 1};
    std::string trace;
    const can_frame frame{0x9079E08AU, {9}, 0, 0, 0, {}};
    const auto write = [&] { trace = Printed([&] { EXPECT_EQ(CAN_Write(&traced, frame), 0); }); };
    EXPECT_EQ(Complained(write), "write: incomplete CAN frame\n");
    EXPECT_EQ(trace, "<<<<<== write -1 bytes the 9079e08a  09  00 00 00 00 00 00 00 00 \n");
}

}  // namespace
