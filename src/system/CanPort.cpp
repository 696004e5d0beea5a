#include "CanPort.h"

#include <fcntl.h>
#include <net/if.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "platform.h"
#include "tool.h"

using namespace velmorin;

namespace {

[[noreturn]] void Fail(const char* call) {
    std::perror(call);
    std::exit(EXIT_FAILURE);
}

/// A command that fails (the interface is down already, say) is no reason to stop; a shell that cannot run
/// is.
void SetUpInterface(const std::string& interface, int bitrate) {
    const std::string commands[] = {
        "ifconfig " + interface + " down",
        "ip link set " + interface + " type can bitrate " + std::to_string(bitrate),
        "ifconfig " + interface + " up",
    };
    for (const std::string& command : commands) {
        if (platform::RunShell(command.c_str()) < 0) std::exit(EXIT_FAILURE);
    }
}

canid_t BareIdentifier(canid_t identifier) {
    if ((identifier & CAN_ERR_FLAG) != 0) return identifier & (CAN_ERR_FLAG | CAN_ERR_MASK);
    if ((identifier & CAN_EFF_FLAG) != 0) return identifier & CAN_EFF_MASK;
    return identifier & CAN_SFF_MASK;
}

void Trace(const char* direction, int count, const can_frame& frame, unsigned int length) {
    const unsigned char* d = frame.data;
    std::printf("%s %d bytes the %.8x  %.2x  %.2x %.2x %.2x %.2x %.2x %.2x %.2x %.2x \n", direction, count,
                frame.can_id, length, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
}

}  // namespace

CAN_Port* CAN_Init(int port, int bitrate) {
    auto handle = std::make_unique<CAN_Port>();
    handle->log_on = TraceSwitch("CAN_LOG");
    const std::string interface = "can" + std::to_string(port);
    SetUpInterface(interface, bitrate);

    const int fd = platform::OpenBusSocket();
    if (fd < 0) Fail("socket");
    if (interface.size() >= IFNAMSIZ) {
        std::fprintf(stderr, "name of CAN device '%s' is too long!\n", interface.c_str());
        std::exit(EXIT_FAILURE);
    }
    int index = 0;
    if (platform::FindInterface(fd, interface.c_str(), &index) < 0) Fail("SIOCGIFINDEX");
    if (platform::BindToInterface(fd, index) < 0) Fail("bind");
    fcntl(fd, F_SETFL, O_NONBLOCK);
    handle->fd = fd;
    return handle.release();
}

int CAN_Read(CAN_Port* port, struct can_frame* frame) {
    const ssize_t count = read(port->fd, frame, sizeof *frame);
    if (count < 0 || platform::IsBusGone(count)) return -1;
    if (count < static_cast<ssize_t>(sizeof *frame)) {
        std::fputs("read: incomplete CAN frame\n", stderr);
        return -1;
    }
    frame->can_id = BareIdentifier(frame->can_id);
    if (port->log_on == 1) {
        Trace("==>>>>>  read", static_cast<int>(count), *frame,
              std::min<unsigned int>(frame->can_dlc, CAN_MAX_DLEN));
    }
    return 1;
}

int CAN_Write(CAN_Port* port, struct can_frame frame) {
    const ssize_t count = write(port->fd, &frame, sizeof frame);
    if (port->log_on == 1) {
        Trace("<<<<<== write", static_cast<int>(count), frame, frame.can_dlc);
    }
    if (count == static_cast<ssize_t>(sizeof frame)) return 1;
    std::fputs("write: incomplete CAN frame\n", stderr);
    return 0;
}

int CAN_SetNonBlocking(CAN_Port* port, int nonblocking) {
    const int flags = fcntl(port->fd, F_GETFL);
    if (flags < 0) return flags;
    return fcntl(port->fd, F_SETFL, nonblocking != 0 ? flags | O_NONBLOCK : flags & ~O_NONBLOCK);
}

void CAN_Close(CAN_Port* port) {
    close(port->fd);
    delete port;
}
