#include "openjob.h"

#include "db.h"
#include "report.h"

using namespace velmorin;

namespace {

std::string Remedy(const PassedOver& passed) {
    return passed.why + "; if nobody will finish it: velmorinctl close " +
           std::to_string(passed.job.timestamp);
}

}  // namespace

int ChooseJobs(std::optional<int> timestamp, Which which, std::vector<JobRow>* jobs) {
    OpenJobs open;
    const Fault fault = SortOpenJobs(kStagingFile, timestamp, &open, which);
    if (fault) return Fail(fault, fault.kind == FaultKind::kNoJob ? JobText(*timestamp) : "");
    const bool asked_for = timestamp && open.whole.empty();
    for (const PassedOver& passed : open.passed_over) {
        const std::string job = JobText(passed.job.timestamp);
        if (asked_for) return Fail(job, Remedy(passed), kExitStaging);
        Note(job + " is passed over: " + Remedy(passed));
    }
    *jobs = std::move(open.whole);
    if (!jobs->empty()) return kExitDone;
    return Fail(StagingFile(), "no open job is whole; stage an image: velmorinctl stage", kExitStaging);
}

std::string JobText(int timestamp) {
    return "job " + std::to_string(timestamp);
}
