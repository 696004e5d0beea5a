#include "mainloop.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "canframe.h"

namespace {

volatile std::sig_atomic_t caught_signal = 0;

void Catch(int number) {
    caught_signal = number;
}

}  // namespace

void HoldStandardDescriptors() {
    int fd = -1;
    do {
        fd = open("/dev/null", O_RDONLY);  // so that printing still fails
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0) close(fd);
}

void PrepareProcess() {
    HoldStandardDescriptors();
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    prctl(PR_SET_TIMERSLACK, 1UL);  // else every pass of 10 ms may sleep 50 µs longer
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);  // a parent that ignores it would make every shell command look failed
    for (const int number : {SIGINT, SIGTERM}) {
        struct sigaction action {};
        action.sa_handler = Catch;
        action.sa_flags = SA_RESTART;
        sigaction(number, &action, nullptr);
    }
}

int RunUntilFinished(canframe& session) {
    while (session.m_finished != 1 && caught_signal == 0) session.Runloop();
    const int number = session.m_finished != 1 ? caught_signal : 0;
    if (number != 0) session.m_errorcode = kResultInterrupted;
    return number;
}

int RunJob(canframe& session) {
    const int number = RunUntilFinished(session);
    session.CacheClean();
    session.UpdateRecord();
    return number;
}
