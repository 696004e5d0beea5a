#include "process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <initializer_list>

namespace velmorin {
namespace {

volatile std::sig_atomic_t caught_signal = 0;

void Catch(int number) {
    caught_signal = number;
}

void End(int number) {
    _exit(kSignalStatus + number);
}

bool IsIgnored(int number) {
    struct sigaction now {};
    return sigaction(number, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

void HandleEndSignals(void (*handler)(int)) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        if (number == SIGHUP && IsIgnored(number)) continue;
        struct sigaction action {};
        action.sa_handler = handler;
        action.sa_flags = SA_RESTART;
        sigaction(number, &action, nullptr);
    }
}

}  // namespace

void HoldStandardDescriptors() {
    int fd = -1;
    do {
        fd = open("/dev/null", O_RDONLY);  // so that printing still fails
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0) close(fd);
}

void IgnoreWriteSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

void CatchEndSignals() {
    HandleEndSignals(Catch);
}

void EndAtOnceOnSignals() {
    HandleEndSignals(End);
}

void PrepareProcess() {
    HoldStandardDescriptors();
    IgnoreWriteSignals();
    CatchEndSignals();
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    prctl(PR_SET_TIMERSLACK, 1UL);  // else every pass of 10 ms may sleep 50 µs longer
    std::signal(SIGCHLD, SIG_DFL);  // a parent that ignores it would make every shell command look failed
}

int CaughtSignal() {
    return caught_signal;
}

}  // namespace velmorin
