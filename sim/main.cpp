// velmorin-sim: a simulated device, and on a bench the CAN bus too.

#include <sys/prctl.h>
#include <sys/signalfd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>

#include "answer.h"
#include "candump.h"
#include "device.h"
#include "fd.h"
#include "options.h"
#include "process.h"
#include "runner.h"
#include "simbus.h"

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
    std::printf("velmorin-sim: ready on %s, address %02x, ", bus.c_str(), options.device.address);
    if (options.answer.empty())
        std::printf("plan %c, seed %u", options.device.plan == sim::Plan::kA ? 'A' : 'B',
                    options.device.seed);
    else
        std::printf("answers from %s", options.answer.c_str());
    if (options.bitrate) std::printf(", %d bit/s", *options.bitrate);
    std::printf("%s\n", joined ? ", joined a running bus" : "");
    std::fflush(stdout);
}

/// Who answers: the device of a log, whose address `options` has from then on, or the simulated one.
std::unique_ptr<sim::Responder> NewResponder(sim::Options& options) {
    if (options.answer.empty()) return std::make_unique<sim::Device>(options.device);
    sim::Recording recording = sim::ReadRecording(options.answer, options.address);
    options.device.address = recording.address;
    if (recording.skipped_lines > 0)
        std::fprintf(stderr, "velmorin-sim: --answer %s: %zu lines are no frames, skipped\n",
                     options.answer.c_str(), recording.skipped_lines);
    return std::make_unique<sim::Answer>(std::move(recording));
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
    const auto responder = NewResponder(options);
    bool joined = false;
    const auto bus = options.bench.empty() ? sim::OpenCan(options.can)
                                           : sim::OpenBench(options.bench, options.bitrate, joined);
    // A frame takes about a millisecond: the usual 50 us of slack would be seen.
    if (options.bitrate) prctl(PR_SET_TIMERSLACK, 1UL);
    StartImageFile(options.save);
    std::optional<velmorin::CandumpLog> log;
    if (!options.log.empty()) log.emplace(options.log, options.bench.empty() ? options.can : "can0");

    PrintReady(options, joined);
    return sim::Runner(options, *bus, *responder, log ? &*log : nullptr).Run(signals.get());
} catch (const std::exception& error) {
    std::fprintf(stderr, "velmorin-sim: %s\n", error.what());
    return kExitCannotStart;
}
