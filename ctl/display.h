// What a person, or a program, sees of a job while it runs: one of the displays below.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "candump.h"
#include "jobs.h"
#include "runoptions.h"
#include "watcher.h"

/// A job as it begins.
struct JobStart {
    velmorin::JobRow job;
    std::string image;  ///< as it was named
    int pace = 1;
    double expected_s = 0;
};

/// How it ended.
struct JobEnd {
    std::optional<int> job;     ///< timestamp of its row; none when it never got one
    int status = 0;             ///< the exit status that it is
    std::optional<int> result;  ///< the code that was recorded
    std::string what;           ///< what a failure is about: the job, a file, the interface
    std::string text;           ///< how it went, in words
    velmorin::RunReport report;
};

/// Shows nothing: the display of --quiet.
class Display : public velmorin::Watcher {
  public:
    /// From now on every frame goes into the log as well; null: into none.
    void LogTo(velmorin::CandumpLog* log) { log_ = log; }
    /// Why the log could not be written any more; empty when it could.
    const std::string& LogFault() const { return log_fault_; }
    void OnFrame(const can_frame& frame) final;

    virtual void OnStart(const JobStart&) {}
    /// The last call for a job; `OnStart` was before it unless the job never began.
    virtual void OnEnd(const JobEnd&) {}
    /// Before something else is printed: nothing half drawn is left on the terminal.
    virtual void Clear() {}

  private:
    velmorin::CandumpLog* log_ = nullptr;
    std::string log_fault_;
};

/// The one that the options ask for, or that fits where standard error goes.
std::unique_ptr<Display> MakeDisplay(const RunOptions& options);

/// A bar, per cent, groups, rate, retries and time left in one line of the terminal on standard error.
std::unique_ptr<Display> MakeTerminalDisplay();
/// A line on standard error for every ten per cent.
std::unique_ptr<Display> MakeLinesDisplay();
/// A JSON object a line on standard output for every event.
std::unique_ptr<Display> MakeJsonDisplay();

/// "29 of 64 groups, 412 B/s, 2 retries, 1:23 left"
std::string ProgressText(const velmorin::Progress& progress);
/// Prints how a job went that was done: the last line of a job on standard output.
void PrintSuccess(const JobEnd& end);
/// "3:07", "2:03:07"
std::string DurationText(double seconds);
/// Printf into a text.
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);
