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

Refusal ChooseJobs(std::optional<int> timestamp, Which which, std::vector<JobRow>* jobs) {
    OpenJobs open;
    if (const Fault fault = SortOpenJobs(kStagingFile, timestamp, &open, which)) {
        const bool no_job = fault.kind == FaultKind::kNoJob;
        return {StatusOf(fault), no_job ? JobText(*timestamp) : StagingFile(), fault.text};
    }
    const bool asked_for = timestamp && open.whole.empty();
    for (const PassedOver& passed : open.passed_over) {
        const std::string job = JobText(passed.job.timestamp);
        if (asked_for) return {kExitStaging, job, Remedy(passed)};
        Note(job + " is passed over: " + Remedy(passed));
    }
    *jobs = std::move(open.whole);
    if (!jobs->empty()) return {};
    return {kExitStaging, StagingFile(), "no open job is whole; stage an image: velmorinctl stage"};
}

std::string JobText(int timestamp) {
    return "job " + std::to_string(timestamp);
}
