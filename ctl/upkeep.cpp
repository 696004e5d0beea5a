#include <algorithm>
#include <cstdio>
#include <vector>

#include "commands.h"
#include "db.h"
#include "jobs.h"
#include "openjob.h"
#include "protocol.h"
#include "report.h"

using namespace velmorin;

namespace {

/// Reads the jobs: is one of that timestamp open?
Fault FindOpen(int timestamp, bool* open) {
    std::vector<JobRow> jobs;
    const Fault fault = ReadJobs(kStagingFile, &jobs);
    *open = std::any_of(jobs.begin(), jobs.end(),
                        [=](const JobRow& job) { return job.IsOpen() && job.timestamp == timestamp; });
    return fault;
}

}  // namespace

int Close(int timestamp) {
    const std::string job = "job " + std::to_string(timestamp);
    bool open = false;
    Fault fault = FindOpen(timestamp, &open);
    if (!fault.empty()) return Fail(StagingFile(), fault);
    if (!open) return Fail(job, "no open job has this timestamp");
    db().DB_CloseJob(kResultInterrupted, timestamp, kStagingFile, nullptr);
    fault = FindOpen(timestamp, &open);
    if (!fault.empty()) return Fail(StagingFile(), fault);
    if (open) return Fail(job, "it could not be closed");
    std::printf("closed: %s, %s\n", job.c_str(), ResultText(kResultInterrupted));
    return FinishOutput();
}

int Clean() {
    if (!StagingFileIsWritable()) return kExitFailure;
    db().DB_Clean(kStagingFile, nullptr);
    StagedRows left;
    const Fault fault = CountStaged(kStagingFile, &left);
    if (!fault.empty()) return Fail(StagingFile(), fault);
    if (left.groups != 0 || left.packets != 0) {
        return Fail(StagingFile(), std::to_string(left.groups) + " groups and " +
                                       std::to_string(left.packets) + " packets are still staged");
    }
    if (left.free_pages != 0) return Fail(StagingFile(), "emptied, but its room is not given back");
    std::puts("cleaned");
    return FinishOutput();
}
