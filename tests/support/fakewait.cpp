#include "fakewait.h"

#include <sys/select.h>

namespace {
long waited_us = 0;
}

extern "C" int select(int, fd_set*, fd_set*, fd_set*, timeval* timeout) {
    waited_us += static_cast<long>(timeout->tv_sec) * 1000000 + static_cast<long>(timeout->tv_usec);
    return 0;
}

namespace fakewait {

long WaitedMs() {
    return waited_us / 1000;
}
void Reset() {
    waited_us = 0;
}

}  // namespace fakewait
