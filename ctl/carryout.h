// The run of one job, from the lock to the recorded result: the same for `update` and `download`.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "candump.h"
#include "canframe.h"
#include "display.h"
#include "jobs.h"
#include "lock.h"
#include "runoptions.h"
#include "sendcache.h"

/// A job whose groups are at hand.
struct PackedJob {
    velmorin::JobRow row;  ///< without a timestamp until it is on record
    std::string image;     ///< as it was named
    std::list<s_addnode> groups;
    bool staged = false;  ///< stays open for the next try unless the device has decided
};

/// Jobs that run one after the other on one interface, which stays locked from the first to the last.
class JobRunner {
  public:
    explicit JobRunner(const RunOptions& options);

    /// Runs the job and tells how it went, failures on standard error. Blocks until it has ended.
    const JobEnd& Run(PackedJob job);
    /// A job that failed before it could be packed. What it is about, why, and the exit status that this is.
    const JobEnd& Refuse(const std::string& what, const std::string& why, int status);

    /// How all jobs went, in their order.
    const std::vector<JobEnd>& Ends() const { return ends_; }
    /// The first failure's exit status.
    int Status() const;
    /// Whether another job may follow: the last one went well or failures do not matter, and no signal came.
    bool MayGoOn() const;

  private:
    void ShowPlan(const PackedJob& job);
    bool TakeInterface(JobEnd* end);
    bool OpenLog(JobEnd* end);
    void RunOnBus(PackedJob* job, JobEnd* end);
    void RunSession(PackedJob* job, canframe* session, JobEnd* end);
    void Record(const PackedJob& job, JobEnd* end);
    const JobEnd& Finish(JobEnd end);

    const RunOptions& options_;
    std::unique_ptr<Display> display_;  // of the current job
    std::optional<velmorin::Lock> lock_;
    std::optional<velmorin::CandumpLog> log_;
    std::vector<JobEnd> ends_;
};
