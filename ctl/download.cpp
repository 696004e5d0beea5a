#include <memory>

#include "carryout.h"
#include "db.h"
#include "lock.h"
#include "openjob.h"
#include "report.h"
#include "summary.h"
#include "update.h"

using namespace velmorin;

namespace {

void RunOne(const JobRow& row, const RunOptions& options, JobRunner* runner) {
    PackedJob job{row, row.name, {}, true};
    std::string image, damage;
    const Fault fault = ReadStagedImage(kStagingFile, row, !options.dry_run, &image, &damage);
    const std::string name = JobText(row.timestamp);
    if (fault) {
        runner->Refuse(name, fault.text, StatusOf(fault));
    } else if (!damage.empty()) {
        runner->Refuse(name, damage, kExitStaging);
    } else {
        PackForDevice(image, &job.row, &job.groups);
        runner->Run(std::move(job));
    }
}

}  // namespace

int Download(const DownloadChoice& choice, const RunOptions& options) {
    JobRunner runner(options);
    std::unique_ptr<Lock> lock;
    if (!options.dry_run) lock = std::make_unique<Lock>(kDownloadLock);
    if (lock && lock->Other()) {
        runner.Refuse(StagingFile(), "another download from it is running: " + HolderText(*lock->Other()),
                      kExitBusy);
        return runner.Status();
    }
    std::vector<JobRow> jobs;
    const Refusal refusal =
        ChooseJobs(choice.timestamp, choice.all ? Which::kAll : Which::kFirstWhole, &jobs);
    if (refusal.status != 0) {
        runner.Refuse(refusal.what, refusal.why, refusal.status);
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
