// velmorin-sim: a simulated device, and on a bench the CAN bus too.

#include <sys/signalfd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>

#include "bus.h"
#include "candump.h"
#include "fd.h"
#include "options.h"
#include "process.h"
#include "runner.h"

namespace {

constexpr int kExitCannotStart = 2;

/// Readable once SIGINT or SIGTERM has come; both are blocked otherwise.
sim::Fd SignalFd() {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    return sim::Fd(signalfd(-1, &ends, SFD_NONBLOCK | SFD_CLOEXEC));
}

void PrintReady(const sim::Options& options, bool joined) {
    const std::string bus = options.bench.empty() ? options.can : options.bench + "/can0";
    std::printf("velmorin-sim: ready on %s, address %02x, plan %c, seed %u%s\n", bus.c_str(),
                options.device.address, options.device.plan == sim::Plan::kA ? 'A' : 'B', options.device.seed,
                joined ? ", joined a running bus" : "");
    std::fflush(stdout);
}

/// Finds out now, not after the job, that the image file cannot be written; a former image goes.
void StartImageFile(const std::string& path) {
    if (path.empty()) return;
    std::FILE* const file = std::fopen(path.c_str(), "wbe");
    if (!file) throw sim::SystemError("--save " + path);
    std::fclose(file);
}

}  // namespace

int main(int argc, char** argv) try {
    sim::Options options;
    if (const std::optional<int> status = sim::ParseOptions(argc, argv, options)) return *status;

    velmorin::IgnoreWriteSignals();  // a reader of our output that leaves must not leave the socket file
                                     // behind
    const sim::Fd signals = SignalFd();
    bool joined = false;
    const auto bus =
        options.bench.empty() ? sim::OpenCan(options.can) : sim::OpenBench(options.bench, joined);
    StartImageFile(options.save);
    std::optional<velmorin::CandumpLog> log;
    if (!options.log.empty()) log.emplace(options.log, options.bench.empty() ? options.can : "can0");

    PrintReady(options, joined);
    return sim::Runner(options, *bus, log ? &*log : nullptr).Run(signals.get());
} catch (const std::exception& error) {
    std::fprintf(stderr, "velmorin-sim: %s\n", error.what());
    return kExitCannotStart;
}
