#include <memory>

#include "carryout.h"
#include "db.h"
#include "lock.h"
#include "process.h"
#include "report.h"
#include "summary.h"
#include "update.h"

using namespace velmorin;

namespace {

void RunOne(const JobRow& row, const RunOptions& options, JobRunner* runner) {
    PackedJob job{row, row.name, {}, true};
    std::string image, damage;
    const Fault fault = ReadStagedImage(kStagingFile, row, !options.dry_run, &image, &damage);
    const std::string name = "job " + std::to_string(row.timestamp);
    if (fault) {
        runner->Refuse(name, fault.text, StatusOf(fault));
    } else if (!damage.empty()) {
        runner->Refuse(name, damage, kExitStaging);
    } else {
        PackForDevice(image, &job.row, &job.groups);
        runner->Run(std::move(job));
    }
}

/// The jobs that can be downloaded; those that cannot are named.
Fault FindJobs(const DownloadChoice& choice, const RunOptions& options, std::vector<JobRow>* whole) {
    OpenJobs jobs;
    const Fault fault = SortOpenJobs(kStagingFile, choice.timestamp, &jobs);
    if (fault) return fault;
    for (const PassedOver& each : jobs.passed_over) {
        const std::string number = std::to_string(each.job.timestamp);
        if (!options.quiet)
            Note("job " + number + " is passed over: " + each.why + "; velmorinctl close " + number);
    }
    if (jobs.whole.empty()) return {FaultKind::kNoJob, "no whole job is open; velmorinctl stage makes one"};
    if (!choice.all) jobs.whole.resize(1);
    *whole = std::move(jobs.whole);
    return {};
}

}  // namespace

int Download(const DownloadChoice& choice, const RunOptions& options) {
    PrepareProcess();
    JobRunner runner(options);
    std::unique_ptr<Lock> lock;
    if (!options.dry_run) lock = std::make_unique<Lock>(kDownloadLock);
    if (lock && lock->Other()) {
        runner.Refuse(StagingFile(), "another download from it is running: " + HolderText(*lock->Other()),
                      kExitBusy);
        return runner.Status();
    }
    std::vector<JobRow> jobs;
    const Fault fault = FindJobs(choice, options, &jobs);
    if (fault) {
        runner.Refuse(StagingFile(), fault.text, StatusOf(fault));
        return runner.Status();
    }
    std::vector<std::string> names;
    for (const JobRow& job : jobs) {
        names.push_back(Format("%02x", static_cast<unsigned int>(job.chargeaddress)));
        if (!runner.MayGoOn()) continue;
        if (lock) lock->WorkOn(job.timestamp);
        RunOne(job, options, &runner);
    }
    return Summarize(runner, "DEVICE", names, options);
}
