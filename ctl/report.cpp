#include "report.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "db.h"
#include "platform.h"
#include "printable.h"
#include "process.h"
#include "tool.h"

using namespace velmorin;

namespace {

/// The update's own layers trace with printf; descriptor 1 is theirs, and ours is another one. A descriptor
/// that cannot be had is one that cannot be written.
std::FILE* SeparateOutput() {
    if (tool::Tool_debug("CAN_UPDATE") == 1) return stdout;
    const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    std::FILE* out = own < 0 ? nullptr : fdopen(own, "w");
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (out == nullptr || null < 0 || dup2(null, STDOUT_FILENO) < 0) return stdout;
    close(null);
    return out;
}

}  // namespace

std::FILE* Out() {
    static std::FILE* const out = SeparateOutput();
    return out;
}

int Fail(const std::string& what, const std::string& why, int status) {
    std::fflush(Out());
    const std::string name = what.empty() ? "''" : Printable(what);
    std::fprintf(stderr, "velmorinctl: %s: %s\n", name.c_str(), why.c_str());
    return status;
}

int Fail(const Fault& fault, const std::string& what) {
    return Fail(what.empty() ? StagingFile() : what, fault.text, StatusOf(fault));
}

int StatusOf(const Fault& fault) {
    if (!fault) return kExitDone;
    return fault.kind == FaultKind::kSignal ? kSignalStatus + CaughtSignal() : kExitStaging;
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
