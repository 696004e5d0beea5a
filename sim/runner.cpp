#include "runner.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

namespace sim {
namespace {

// When --once ends after the job's last reply. A node that closes its connection says so at once; where
// nobody tells, silence does: in its two seconds of closing the updater sends nothing, nor does it
// afterwards.
constexpr Micros kQuietAfterJob = 3'000'000;
constexpr Micros kPatienceAfterJob = 5'000'000;  // with an updater that goes on asking, as for a reset reply
constexpr Micros kQuietInJob = 30'000'000;       // an idle updater still sends a heartbeat every 11 s

constexpr int kEventsPerTurn = 256;  // before looking for signals again on a bus that never rests

Micros Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return Micros{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

const char* JobText(Job job) {
    switch (job) {
        case Job::kNone:
            return "no job";
        case Job::kRunning:
            return "job unfinished";
        case Job::kVerified:
            return "program check passed, not reset";
        case Job::kComplete:
            return "job complete";
        case Job::kRefused:
            return "start refused";
        case Job::kCheckFailed:
            return "program check failed";
        case Job::kAborted:
            return "job aborted";
    }
    return "";
}

}  // namespace

Runner::Runner(const Options& options, Bus& bus, velmorin::CandumpLog* log)
    : options_(options), bus_(bus), log_(log), device_(options.device) {}

int Runner::Run(int signal_fd) {
    while (!bus_gone_ && !updater_left_ && Wait(signal_fd)) ServeBus();
    ReportNotes();
    PrintSummary();
    if (save_failed_) return kExitIncomplete;
    if (options_.once)
        return device_.job() == Job::kComplete && device_.counters().violations == 0 ? 0 : kExitIncomplete;
    return bus_gone_ ? kExitIncomplete : 0;
}

/// Sleeps until there is something to do. False when it is time to end.
bool Runner::Wait(int signal_fd) {
    std::optional<Micros> until = device_.NextDue();
    const std::optional<Micros> deadline = OnceDeadline();
    if (deadline && (!until || *deadline < *until)) until = deadline;

    timespec timeout{};
    if (until) {
        const Micros left = std::max<Micros>(0, *until - Now());
        timeout.tv_sec = static_cast<time_t>(left / 1'000'000);
        timeout.tv_nsec = static_cast<long>(left % 1'000'000 * 1000);
    }
    std::array<pollfd, 2> ready{{{signal_fd, POLLIN, 0}, {bus_.fd(), POLLIN, 0}}};
    if (ppoll(ready.data(), ready.size(), until ? &timeout : nullptr, nullptr) < 0 && errno != EINTR) {
        std::perror("velmorin-sim: poll");
        return false;
    }
    if (ready[0].revents != 0) return false;
    return !deadline || Now() < *deadline;
}

void Runner::ServeBus() {
    SendDue();
    for (int i = 0; i < kEventsPerTurn && !bus_gone_ && !updater_left_; ++i) {
        const std::optional<BusEvent> event = bus_.Receive();
        if (!event) return;
        Take(*event);
        SendDue();
    }
}

void Runner::Take(const BusEvent& event) {
    switch (event.kind) {
        case BusEvent::kFrame:
            Log(event.frame);
            if (!device_.Receive(event.frame, Now())) break;
            updater_node_ = event.node;
            last_heard_ = Now();
            if (device_.TakeChecked()) SaveImage();
            ReportNotes();
            break;
        case BusEvent::kNodeGone:
            if (event.node != updater_node_) break;
            device_.UpdaterGone();
            updater_left_ = options_.once && IsOver(device_.job());
            break;
        case BusEvent::kBusGone:
            std::fputs("velmorin-sim: the bus is gone\n", stderr);
            bus_gone_ = true;
            break;
    }
    if (!over_since_ && IsOver(device_.job())) over_since_ = Now();
}

void Runner::SendDue() {
    while (const std::optional<can_frame> frame = device_.TakeDue(Now())) {
        bus_.Send(*frame);
        Log(*frame);
    }
}

void Runner::Log(const can_frame& frame) {
    if (log_ == nullptr || log_->Write(frame)) return;
    std::fprintf(stderr, "velmorin-sim: --log %s: %s\n", options_.log.c_str(), std::strerror(errno));
}

void Runner::ReportNotes() {
    for (const std::string& note : device_.TakeNotes())
        std::fprintf(stderr, "velmorin-sim: %s\n", note.c_str());
}

void Runner::SaveImage() {
    if (options_.save.empty()) return;
    const std::span<const std::uint8_t> image = device_.image();
    std::FILE* const file = std::fopen(options_.save.c_str(), "wbe");
    bool saved = file && (image.empty() || std::fwrite(image.data(), image.size(), 1, file) == 1);
    if (file) saved = std::fclose(file) == 0 && saved;
    if (!saved) {
        std::fprintf(stderr, "velmorin-sim: --save %s: %s\n", options_.save.c_str(), std::strerror(errno));
        save_failed_ = true;
    }
}

/// When --once stops waiting for more.
std::optional<Micros> Runner::OnceDeadline() const {
    if (!options_.once) return std::nullopt;
    if (over_since_) return std::min(last_heard_ + kQuietAfterJob, *over_since_ + kPatienceAfterJob);
    const bool told_when_gone = updater_node_ != 0;
    if (told_when_gone || device_.job() == Job::kNone) return std::nullopt;
    return last_heard_ + kQuietInJob;
}

void Runner::PrintSummary() const {
    const Counters& counters = device_.counters();
    std::printf(
        "velmorin-sim: %d frames heard, %d sent, %d lost; %zu groups, %d rejected, %d erase failed; image "
        "%zu bytes, ",
        counters.heard, counters.sent, counters.lost, device_.groups(), counters.rejected,
        counters.erase_failed, device_.image().size());
    if (const std::optional<std::uint32_t> checksum = device_.checksum())
        std::printf("checksum %08x; ", *checksum);
    else
        std::printf("no checksum; ");
    std::printf("%d violations; %s\n", counters.violations, JobText(device_.job()));
    std::fflush(stdout);
}

}  // namespace sim
