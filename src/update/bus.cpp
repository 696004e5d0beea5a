#include "bus.h"

#include <fcntl.h>
#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform.h"
#include "protocol.h"

namespace velmorin {
namespace {

constexpr can_err_mask_t kControllerFaults = CAN_ERR_BUSOFF | CAN_ERR_ACK | CAN_ERR_CRTL | CAN_ERR_RESTARTED;

struct ClosePort {
    void operator()(CAN_Port* port) const { CAN_Close(port); }
};

BusState StateAfter(int fault) {
    switch (fault) {
        case EAGAIN:
        case EINTR:
            return BusState::kFull;
        case ENOBUFS:
            return BusState::kBusy;
        case ENETDOWN:
            return BusState::kDown;
        default:
            return BusState::kGone;
    }
}

}  // namespace

CAN_Port* OpenBus(const std::string& interface, std::string* fault) {
    const auto failed = [fault](const char* call) {
        *fault = std::string(call) + ": " + std::strerror(errno);
        return nullptr;
    };
    if (interface.size() >= IFNAMSIZ) {
        *fault = "the name is longer than 15 characters";
        return nullptr;
    }
    const int fd = platform::OpenBusSocket();
    if (fd < 0) return failed("socket");
    std::unique_ptr<CAN_Port, ClosePort> port(new CAN_Port{fd, 0});
    int index = 0;
    if (platform::FindInterface(fd, interface.c_str(), &index) < 0) return failed("no such interface");
    if (platform::BindToInterface(fd, index) < 0) return failed("bind");
    const int least = 1;
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
    setsockopt(fd, SOL_CAN_RAW, CAN_RAW_ERR_FILTER, &kControllerFaults,
               sizeof kControllerFaults);  // not on a bench
    if (CAN_SetNonBlocking(port.get(), 1) < 0 || fcntl(fd, F_SETFD, FD_CLOEXEC) < 0) return failed("fcntl");
    return port.release();
}

void HearUpdateOnly(CAN_Port* port) {
    const can_filter filter = {CAN_EFF_FLAG | static_cast<canid_t>(kPfHeartbeat) << kPfShift,
                               CAN_EFF_FLAG | CAN_RTR_FLAG | static_cast<canid_t>(kUpdatePfMask) << kPfShift};
    setsockopt(port->fd, SOL_CAN_RAW, CAN_RAW_FILTER, &filter, sizeof filter);
}

BusState ReadFrame(CAN_Port* port, can_frame* frame) {
    const ssize_t count = read(port->fd, frame, sizeof *frame);
    if (count == static_cast<ssize_t>(sizeof *frame)) return BusState::kDone;
    if (count >= 0) return platform::IsBusGone(count) ? BusState::kGone : BusState::kEmpty;
    const BusState state = StateAfter(errno);
    return state == BusState::kFull || state == BusState::kBusy ? BusState::kEmpty : state;
}

BusState WriteFrame(CAN_Port* port, const can_frame& frame) {
    const ssize_t count = write(port->fd, &frame, sizeof frame);
    if (count == static_cast<ssize_t>(sizeof frame)) return BusState::kDone;
    return count < 0 ? StateAfter(errno) : BusState::kFull;
}

}  // namespace velmorin
