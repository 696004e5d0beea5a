// The port against recorded system calls, and its reads and writes on a socket pair.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include "CanPort.h"
#include "benchdir.h"
#include "canframe.h"

namespace {

struct Kernel {
    std::string calls;
    int shell_result = 0, socket_error = 0, ioctl_error = 0, bind_error = 0;
    int given_fd = -1;
};
Kernel* recorder = nullptr;  // null: calls go to the real kernel

template <typename Function>
Function Real(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

int Fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" {

int system(const char* command) {
    if (recorder == nullptr) return Real<int (*)(const char*)>("system")(command);
    recorder->calls += std::string(command) + "\n";
    return recorder->shell_result;
}

int socket(int domain, int type, int protocol) noexcept {
    if (recorder == nullptr) return Real<int (*)(int, int, int)>("socket")(domain, type, protocol);
    recorder->calls += "socket " + std::to_string(domain) + " " + std::to_string(type) + " " +
                       std::to_string(protocol) + "\n";
    return recorder->socket_error != 0 ? Fail(recorder->socket_error) : recorder->given_fd;
}

int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (recorder == nullptr) return Real<int (*)(int, unsigned long, ...)>("ioctl")(fd, request, argument);
    auto* interface = static_cast<ifreq*>(argument);
    recorder->calls +=
        (request == SIOCGIFINDEX ? "index of " : "ioctl on ") + std::string(interface->ifr_name) + "\n";
    if (recorder->ioctl_error != 0) return Fail(recorder->ioctl_error);
    interface->ifr_ifindex = 42;
    return 0;
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept {
    if (recorder == nullptr) return Real<int (*)(int, const sockaddr*, socklen_t)>("bind")(fd, address, size);
    const auto* can = reinterpret_cast<const sockaddr_can*>(address);
    recorder->calls += "bind " + std::to_string(can->can_family) + " " + std::to_string(can->can_ifindex) +
                       " " + std::to_string(size) + "\n";
    return recorder->bind_error != 0 ? Fail(recorder->bind_error) : 0;
}

}  // extern "C"

namespace {

class Port : public testing::Test {
  protected:
    Port() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
        port_end = ends[0];
        bus = ends[1];
        unsetenv("CAN_LOG");
        unsetenv("VELMORIN_BENCH");
    }
    ~Port() override {
        recorder = nullptr;
        close(bus);
    }

    CAN_Port* Traced() {
        port = {port_end, 1};
        return &port;
    }

    int port_end = -1, bus = -1;
    CAN_Port port{};
    Kernel kernel;
};

TEST_F(Port, SetsUpTheInterfaceAndBindsToIt) {
    kernel.given_fd = port_end;
    kernel.shell_result = 512;  // commands that fail stop nothing
    recorder = &kernel;
    setenv("CAN_LOG", "", 1);
    testing::internal::CaptureStdout();
    CAN_Port* opened = CAN_Init(1, 250000);
    recorder = nullptr;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(kernel.calls,
              "ifconfig can1 down\nip link set can1 type can bitrate 250000\nifconfig can1 up\n"
              "socket 29 3 1\nindex of can1\nbind 29 42 16\n");
    EXPECT_EQ(opened->fd, port_end);
    EXPECT_EQ(opened->log_on, 0);
    EXPECT_EQ(fcntl(port_end, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    EXPECT_EQ(CAN_SetNonBlocking(opened, 0), 0);
    EXPECT_EQ(fcntl(port_end, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(CAN_SetNonBlocking(opened, 7), 0);
    EXPECT_EQ(fcntl(port_end, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    CAN_Close(opened);
    CAN_Port closed{port_end, 0};
    EXPECT_LT(CAN_SetNonBlocking(&closed, 1), 0);
}

TEST_F(Port, TraceSwitchTakesOnlyOn) {
    for (const auto& [value, on, line] : {std::tuple{"ON", 1, "LOG_CAN TURN ON\n"},
                                          {"on", 0, "LOG_CAN TURN OFF\n"},
                                          {"1", 0, "LOG_CAN TURN OFF\n"}}) {
        kernel.given_fd = dup(port_end);
        recorder = &kernel;
        setenv("CAN_LOG", value, 1);
        testing::internal::CaptureStdout();
        CAN_Port* opened = CAN_Init(0, 125000);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
        EXPECT_EQ(opened->log_on, on);
        recorder = nullptr;
        CAN_Close(opened);
    }
    unsetenv("CAN_LOG");
}

TEST_F(Port, SessionOwnsItsPortAndTakesItsTraceFromTheEnvironment) {
    for (const auto& [value, on, line] :
         {std::tuple{"ON", 1, "LOG_CAN TURN ON\n"}, {"on", 0, "LOG_CAN TURN OFF\n"}, {"", 0, ""}}) {
        kernel.given_fd = dup(port_end);
        setenv("CAN_UPDATE", value, 1);
        testing::internal::CaptureStdout();
        {
            canframe session;
            EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
            EXPECT_EQ(session.m_debug, on);
            recorder = &kernel;
            EXPECT_EQ(session.CAN_InitDevice(0, 125000), 0);
            recorder = nullptr;
        }
        EXPECT_LT(fcntl(kernel.given_fd, F_GETFD), 0) << "closed with the session";
    }
    unsetenv("CAN_UPDATE");
}

TEST_F(Port, EveryFailureOfTheSetUpEndsTheProcess) {
    const auto init = [this](int Kernel::*fault, int value) {
        kernel.*fault = value;
        kernel.given_fd = port_end;
        recorder = &kernel;
        CAN_Init(0, 125000);
    };
    EXPECT_EXIT(init(&Kernel::shell_result, -1), testing::ExitedWithCode(1), "^$");
    EXPECT_EXIT(init(&Kernel::socket_error, EPROTONOSUPPORT), testing::ExitedWithCode(1),
                "^socket: Protocol not supported\n$");
    EXPECT_EXIT(init(&Kernel::ioctl_error, ENODEV), testing::ExitedWithCode(1),
                "^SIOCGIFINDEX: No such device\n$");
    EXPECT_EXIT(init(&Kernel::bind_error, ENODEV), testing::ExitedWithCode(1), "^bind: No such device\n$");
}

TEST_F(Port, BenchWithoutABusLooksLikeAMissingInterface) {
    BenchDir bench;
    EXPECT_EXIT(CAN_Init(0, 125000), testing::ExitedWithCode(1), "^SIOCGIFINDEX: No such device\n$");
    const std::string deep = bench.Root().string() + "/" + std::string(100, 'd');
    setenv("VELMORIN_BENCH", deep.c_str(), 1);
    EXPECT_EXIT(CAN_Init(0, 125000), testing::ExitedWithCode(1), "path too long for a Unix socket");
}

TEST_F(Port, BenchPortIsTheSocketOfItsInterface) {
    BenchDir bench;
    const int hub = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = (bench.Root() / "can3").string();
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(hub, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(hub, 1), 0);
    CAN_Port* opened = CAN_Init(3, 125000);
    const int peer = accept(hub, nullptr, nullptr);
    can_frame frame{};
    frame.can_id = 0x9070E08AU;
    EXPECT_EQ(CAN_Write(opened, frame), 1);
    EXPECT_EQ(read(peer, &frame, sizeof frame), 16);
    EXPECT_EQ(CAN_Read(opened, &frame), -1);
    close(peer);  // the bus goes away: reported, and the process lives on
    close(hub);
    testing::internal::CaptureStderr();
    EXPECT_EQ(CAN_Write(opened, frame), 0);
    EXPECT_EQ(CAN_Read(opened, &frame), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "write: incomplete CAN frame\nread: incomplete CAN frame\n");
    CAN_Close(opened);
}

TEST_F(Port, IdentifiersArriveBare) {
    const struct {
        unsigned int raw, bare;
    } cases[] = {{0x98E58A12U, 0x18E58A12U}, {0x40000123U, 0x123U},      {0x20000004U, 0x20000004U},
                 {0xE0000004U, 0x20000004U}, {0xD8E58A12U, 0x18E58A12U}, {0x1FFFFFFFU, 0x7FFU}};
    for (const auto& c : cases) {
        can_frame frame{};
        frame.can_id = c.raw;
        frame.can_dlc = 12;
        std::memcpy(frame.data, "\x01\x02\x03\x04\x05\x06\x07\x08", 8);
        ASSERT_EQ(write(bus, &frame, sizeof frame), 16);
        testing::internal::CaptureStdout();
        ASSERT_EQ(CAN_Read(Traced(), &frame), 1);
        char line[128];
        std::snprintf(line, sizeof line, "==>>>>>  read 16 bytes the %08x  08  01 02 03 04 05 06 07 08 \n",
                      c.bare);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
        EXPECT_EQ(frame.can_id, c.bare);
        EXPECT_EQ(frame.can_dlc, 12);
    }
}

TEST_F(Port, ShortReadsAreReportedAndNoFrameIsNot) {
    can_frame frame{};
    ASSERT_EQ(write(bus, &frame, 15), 15);
    testing::internal::CaptureStderr();
    EXPECT_EQ(CAN_Read(Traced(), &frame), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "read: incomplete CAN frame\n");
    CAN_SetNonBlocking(&port, 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(CAN_Read(&port, &frame), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Port, RefusedWriteIsTracedThenReported) {
    CAN_SetNonBlocking(Traced(), 1);
    can_frame frame{};
    frame.can_id = 0x9079E08AU;
    frame.can_dlc = 9;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    int written = 0;
    while (written < 100000 && CAN_Write(&port, frame) == 1) ++written;
    EXPECT_GT(written, 0);
    const std::string complaint = testing::internal::GetCapturedStderr();
    const std::string trace = testing::internal::GetCapturedStdout();
    EXPECT_EQ(complaint, "write: incomplete CAN frame\n");
    const std::string last = "<<<<<== write -1 bytes the 9079e08a  09  00 00 00 00 00 00 00 00 \n";
    EXPECT_EQ(trace.substr(trace.size() - last.size()), last);
    EXPECT_EQ(trace.substr(0, 71),
              "<<<<<== write 16 bytes the 9079e08a  09  00 00 00 00 00 00 00 00 \n" + std::string("<<<<<"));
}

}  // namespace
