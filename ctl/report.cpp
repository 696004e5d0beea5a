#include "report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "db.h"
#include "platform.h"
#include "printable.h"

using namespace velmorin;

int Fail(const std::string& what, const std::string& why) {
    std::fflush(stdout);
    std::fprintf(stderr, "velmorinctl: %s: %s\n", Printable(what).c_str(), why.c_str());
    return kExitFailure;
}

void Note(const std::string& text) {
    std::fprintf(stderr, "velmorinctl: note: %s\n", text.c_str());
}

std::string StagingFile() {
    return platform::ResolvePath(kStagingFile);
}

int FinishOutput() {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
    return Fail("standard output", std::strerror(errno));
}
