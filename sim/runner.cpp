#include "runner.h"

#include <poll.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

namespace sim {
namespace {

// How long --once waits: a bench reports disconnects, on real CAN only silence does.
// (An updater that closes its job sends nothing for two seconds.)
constexpr Nanos kQuietAfterJob = 3 * kNanosPerSecond;
constexpr Nanos kPatienceAfterJob = 5 * kNanosPerSecond;  // with an updater that goes on asking
constexpr Nanos kQuietInJob = 30 * kNanosPerSecond;  // an idle updater still sends a heartbeat every 11 s

constexpr int kEventsPerTurn = 256;  // before looking for signals again on a bus that never rests

/// The earlier of two times, either of which may never come.
std::optional<Nanos> Earlier(std::optional<Nanos> a, std::optional<Nanos> b) {
    return a && b ? std::min(a, b) : a ? a : b;
}

/// What the monotonic clock lacks to the time of day. Asked once, so that times in a log keep their
/// distances.
Nanos WallClockOffset() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * kNanosPerSecond + now.tv_nsec - Now();
}

}  // namespace

Runner::Runner(const Options& options, Bus& bus, Responder& responder, velmorin::CandumpLog* log)
    : options_(options), bus_(bus), responder_(responder), log_(log), wall_offset_(WallClockOffset()) {
    if (options.bitrate) load_.emplace(*options.bitrate, options.device.address, Now());
}

int Runner::Run(int signal_fd) {
    while (!bus_gone_ && !updater_left_ && Wait(signal_fd)) ServeBus();
    ReportNotes();
    PrintSummary();
    if (save_failed_) return kExitIncomplete;
    if (options_.once) return responder_.IsRight() ? 0 : kExitIncomplete;
    return bus_gone_ ? kExitIncomplete : 0;
}

/// Sleeps until there is something to do. False when it is time to end.
bool Runner::Wait(int signal_fd) {
    std::optional<Nanos> due;
    if (const std::optional<Micros> next = responder_.NextDue()) due = *next * kNanosPerMicro;
    const std::optional<Nanos> deadline = OnceDeadline();
    const std::optional<Nanos> until = Earlier(Earlier(due, bus_.NextEnd()), deadline);

    timespec timeout{};
    if (until) {
        const Nanos left = std::max<Nanos>(0, *until - Now());
        timeout.tv_sec = static_cast<time_t>(left / kNanosPerSecond);
        timeout.tv_nsec = static_cast<long>(left % kNanosPerSecond);
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
            Record(event.frame, event.when);
            TakeFrame(event);
            break;
        case BusEvent::kSent:
            Record(event.frame, event.when);
            break;
        case BusEvent::kNodeGone:
            if (event.node != updater_node_) break;
            responder_.UpdaterGone();
            updater_left_ = options_.once && responder_.IsOver();
            break;
        case BusEvent::kBusGone:
            std::fputs("velmorin-sim: the bus is gone\n", stderr);
            bus_gone_ = true;
            break;
    }
    if (!over_since_ && responder_.IsOver()) over_since_ = Now();
}

void Runner::TakeFrame(const BusEvent& event) {
    if (!responder_.Receive(event.frame, event.when / kNanosPerMicro)) return;
    updater_node_ = event.node;
    last_heard_ = Now();
    if (responder_.TakeChecked()) SaveImage();
    ReportNotes();
}

/// Gives the bus what is due, but nothing that is due after the frame that has ended by now: the device has
/// not heard that frame yet.
void Runner::SendDue() {
    const Nanos now = std::min(Now(), bus_.NextEnd().value_or(std::numeric_limits<Nanos>::max()));
    while (const std::optional<Micros> due = responder_.NextDue()) {
        const std::optional<can_frame> frame = responder_.TakeDue(now / kNanosPerMicro);
        if (!frame) return;
        if (bus_.Send(*frame, *due * kNanosPerMicro)) Record(*frame, Now());
    }
}

void Runner::Record(const can_frame& frame, Nanos when) {
    if (load_) load_->Add(frame, when);
    if (log_ == nullptr) return;
    const Nanos wall = when + wall_offset_;
    if (log_->Write(frame, {wall / kNanosPerSecond, wall % kNanosPerSecond / kNanosPerMicro})) return;
    std::fprintf(stderr, "velmorin-sim: --log %s: %s\n", options_.log.c_str(), std::strerror(errno));
}

void Runner::ReportNotes() {
    for (const std::string& note : responder_.TakeNotes())
        std::fprintf(stderr, "velmorin-sim: %s\n", note.c_str());
}

void Runner::SaveImage() {
    if (options_.save.empty()) return;
    const std::span<const std::uint8_t> image = responder_.image();
    std::FILE* const file = std::fopen(options_.save.c_str(), "wbe");
    bool saved = file && (image.empty() || std::fwrite(image.data(), image.size(), 1, file) == 1);
    if (file) saved = std::fclose(file) == 0 && saved;
    if (!saved) {
        std::fprintf(stderr, "velmorin-sim: --save %s: %s\n", options_.save.c_str(), std::strerror(errno));
        save_failed_ = true;
    }
}

/// When --once stops waiting for more.
std::optional<Nanos> Runner::OnceDeadline() const {
    if (!options_.once) return std::nullopt;
    if (over_since_) return std::min(last_heard_ + kQuietAfterJob, *over_since_ + kPatienceAfterJob);
    const bool told_when_gone = updater_node_ != 0;
    if (told_when_gone || !responder_.HasBegun()) return std::nullopt;
    return last_heard_ + kQuietInJob;
}

void Runner::PrintSummary() const {
    if (load_) std::printf("velmorin-sim: %s\n", load_->Text(Now()).c_str());
    std::printf("velmorin-sim: %s\n", responder_.Summary().c_str());
    std::fflush(stdout);
}

}  // namespace sim
