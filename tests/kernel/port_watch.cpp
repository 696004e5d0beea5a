// Prints every frame on can0 as the updater's port hands it up (CAN_LOG=ON is its trace). Unlike the updater
// it asks the kernel for error frames too, which a raw socket does not get by itself.
#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdio>

#include "CanPort.h"
#include "protocol.h"

using namespace velmorin;

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    CAN_Port* const port = CAN_Init(kBusPort, kBusBitrate);
    constexpr can_err_mask_t kEveryError = CAN_ERR_MASK;
    if (setsockopt(port->fd, SOL_CAN_RAW, CAN_RAW_ERR_FILTER, &kEveryError, sizeof kEveryError) != 0) {
        std::perror("CAN_RAW_ERR_FILTER");
        return 1;
    }
    std::puts("ready");
    pollfd waiting{port->fd, POLLIN, 0};
    can_frame frame{};
    while (poll(&waiting, 1, -1) > 0) CAN_Read(port, &frame);
}
