#include "waiting.h"

#include <poll.h>
#include <time.h>

#include <algorithm>

namespace velmorin {

Micros SystemWaiting::Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return Micros{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

void SystemWaiting::Wait(int fd, bool writable, Micros until) {
    const Micros left = std::max<Micros>(0, until - Now());
    const timespec timeout{static_cast<time_t>(left / 1'000'000), static_cast<long>(left % 1'000'000 * 1000)};
    pollfd bus{fd, static_cast<short>(writable ? POLLIN | POLLOUT : POLLIN), 0};
    ppoll(&bus, 1, &timeout, nullptr);
}

}  // namespace velmorin
