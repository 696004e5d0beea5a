#include "report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "db.h"
#include "platform.h"
#include "printable.h"
#include "process.h"

using namespace velmorin;

std::FILE* Out() {
    return stdout;
}

int Fail(const std::string& what, const std::string& why, int status) {
    std::fflush(Out());
    std::fprintf(stderr, "velmorinctl: %s: %s\n", Printable(what).c_str(), why.c_str());
    return status;
}

int Fail(const Fault& fault, const std::string& what) {
    const int status = fault.kind == FaultKind::kSignal ? kSignalStatus + CaughtSignal() : kExitStaging;
    return Fail(what.empty() ? StagingFile() : what, fault.text, status);
}

void Note(const std::string& text) {
    std::fprintf(stderr, "velmorinctl: note: %s\n", text.c_str());
}

std::string StagingFile() {
    return platform::ResolvePath(kStagingFile);
}

int FinishOutput() {
    if (std::fflush(Out()) == 0 && std::ferror(Out()) == 0) return 0;
    return Fail("standard output", std::strerror(errno));
}
