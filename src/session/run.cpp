#include "run.h"

#include "canframe.h"
#include "process.h"

namespace velmorin {

int RunUntilFinished(canframe& session) {
    while (session.m_finished != 1 && CaughtSignal() == 0) session.Runloop();
    const int number = session.m_finished != 1 ? CaughtSignal() : 0;
    if (number != 0) session.m_errorcode = kResultInterrupted;
    return number;
}

int RunJob(canframe& session) {
    const int number = RunUntilFinished(session);
    session.CacheClean();
    session.UpdateRecord();
    return number;
}

}  // namespace velmorin
