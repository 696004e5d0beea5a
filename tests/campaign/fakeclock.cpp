#include "fakeclock.h"

#include <sys/time.h>

#include <ctime>

namespace {
long long now = 1'700'000'000'000'000;
}

namespace fakeclock {

void Set(long long microseconds) {
    now = microseconds;
}
long long Now() {
    return now;
}

}  // namespace fakeclock

extern "C" {

int __wrap_gettimeofday(timeval* tv, void* /*zone*/) {
    tv->tv_sec = now / 1'000'000;
    tv->tv_usec = now % 1'000'000;
    return 0;
}

time_t __wrap_time(time_t* to) {
    if (to != nullptr) *to = now / 1'000'000;
    return now / 1'000'000;
}
}
