// Carries frames between the bus and the device until the end.
#pragma once

#include <optional>

#include "bus.h"
#include "candump.h"
#include "device.h"
#include "options.h"

namespace sim {

/// Exit status when the one job of `--once` was not complete and correct, or the bus went away.
constexpr int kExitIncomplete = 1;

class Runner {
  public:
    /// `log` may be null. Bus and log outlive the runner.
    Runner(const Options& options, Bus& bus, velmorin::CandumpLog* log);

    /// Serves until a signal (read from `signal_fd`), the end of the bus or, with `--once`, of the job.
    /// Prints the summary on standard output. The exit status.
    int Run(int signal_fd);

  private:
    bool Wait(int signal_fd);
    void ServeBus();
    void Take(const BusEvent& event);
    void SendDue();
    void Log(const can_frame& frame);
    void ReportNotes();
    void SaveImage();
    std::optional<Micros> OnceDeadline() const;
    void PrintSummary() const;

    const Options& options_;
    Bus& bus_;
    velmorin::CandumpLog* log_;
    Device device_;
    int updater_node_ = -1;  ///< the node that last sent the device a frame
    Micros last_heard_ = 0;
    std::optional<Micros> over_since_;
    bool updater_left_ = false;
    bool bus_gone_ = false;
    bool save_failed_ = false;
};

}  // namespace sim
