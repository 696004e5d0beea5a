#include "nodebus.h"

#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace sim {

BusError SystemError(const std::string& what) {
    return BusError(what + ": " + std::strerror(errno));
}

std::optional<BusEvent> NodeBus::Receive() {
    for (;;) {
        can_frame frame{};
        const ssize_t length = recv(fd_.get(), &frame, sizeof frame, MSG_DONTWAIT | MSG_TRUNC);
        if (length == static_cast<ssize_t>(sizeof frame)) return BusEvent{BusEvent::kFrame, 0, frame, Now()};
        if (length > 0) continue;  // no frame
        if (length < 0 && errno == EINTR) continue;
        if (length < 0 && (errno == EAGAIN || errno == ENETDOWN))
            return std::nullopt;  // a downed interface comes back
        return BusEvent{BusEvent::kBusGone};
    }
}

bool NodeBus::Send(const can_frame& frame, Nanos) {
    // A full queue loses the frame, as it does on a bus; a bus that has gone is told by Receive.
    (void)send(fd_.get(), &frame, sizeof frame, MSG_DONTWAIT | MSG_NOSIGNAL);
    return true;
}

std::unique_ptr<Bus> OpenCan(const std::string& interface) {
    if (interface.size() >= IFNAMSIZ)
        throw BusError("--can " + interface + ": the name is longer than 15 characters");
    Fd fd(socket(PF_CAN, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, CAN_RAW));
    if (!fd) throw SystemError("--can " + interface + ": CAN socket");
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
    if (address.can_ifindex == 0) throw SystemError("--can " + interface);
    const can_err_mask_t no_errors = 0;
    if (setsockopt(fd.get(), SOL_CAN_RAW, CAN_RAW_ERR_FILTER, &no_errors, sizeof no_errors) < 0)
        throw SystemError("--can " + interface + ": error filter");
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0)
        throw SystemError("--can " + interface + ": bind");
    return std::make_unique<NodeBus>(std::move(fd));
}

}  // namespace sim
