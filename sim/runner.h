// Carries frames between the bus and who answers there, until the end.
#pragma once

#include <optional>

#include "busload.h"
#include "candump.h"
#include "options.h"
#include "responder.h"
#include "simbus.h"

namespace sim {

/// Exit status when the one job of `--once` was not complete and correct, or the bus went away.
constexpr int kExitIncomplete = 1;

class Runner {
  public:
    /// `log` may be null. All of them outlive the runner.
    Runner(const Options& options, Bus& bus, Responder& responder, velmorin::CandumpLog* log);

    /// Serves until a signal (read from `signal_fd`), the end of the bus or, with `--once`, of the job.
    /// Prints the bus's load, if it has a bit rate, and the summary on standard output. The exit status.
    int Run(int signal_fd);

  private:
    bool Wait(int signal_fd);
    void ServeBus();
    void Take(const BusEvent& event);
    void TakeFrame(const BusEvent& event);
    void SendDue();
    void Record(const can_frame& frame, Nanos when);
    void ReportNotes();
    void SaveImage();
    std::optional<Nanos> OnceDeadline() const;
    void PrintSummary() const;

    const Options& options_;
    Bus& bus_;
    Responder& responder_;
    velmorin::CandumpLog* log_;
    const Nanos wall_offset_;  ///< from the clock of events to the log's
    std::optional<BusLoad> load_;
    int updater_node_ = -1;  ///< the node that last sent the device a frame
    Nanos last_heard_ = 0;
    std::optional<Nanos> over_since_;
    bool updater_left_ = false;
    bool bus_gone_ = false;
    bool save_failed_ = false;
};

}  // namespace sim
