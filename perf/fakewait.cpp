#include "fakewait.h"

#include <sys/select.h>

namespace {
long long waited_us = 0;
}

extern "C" int select(int, fd_set*, fd_set*, fd_set*, timeval* timeout) {
    waited_us += static_cast<long long>(timeout->tv_sec) * 1000000 + timeout->tv_usec;
    return 0;
}

namespace fakewait {

long WaitedMs() {
    return static_cast<long>(waited_us / 1000);
}
void Reset() {
    waited_us = 0;
}

}  // namespace fakewait
