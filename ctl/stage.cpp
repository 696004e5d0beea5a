#include <nlohmann/json.hpp>

#include "canframe.h"
#include "commands.h"
#include "db.h"
#include "estimate.h"
#include "openjob.h"
#include "report.h"

using namespace velmorin;

namespace {

void PrintStaged(const JobRow& job, bool as_json) {
    const double seconds = ExpectedSeconds(job.filesize, 1);
    if (as_json) {
        const nlohmann::ordered_json object = {{"job", job.timestamp},
                                               {"size", job.filesize},
                                               {"groups", GroupsOf(job.filesize)},
                                               {"expected_s", seconds}};
        std::fprintf(Out(), "%s\n", object.dump().c_str());
    } else {
        std::fprintf(Out(), "staged: %s, %d bytes, %d groups; its download will take about %.0f s\n",
                     JobText(job.timestamp).c_str(), job.filesize, GroupsOf(job.filesize), seconds);
    }
}

}  // namespace

int Stage(const std::string& path, const Target& target, bool as_json) {
    if (path.size() >= sizeof s_history::name && canframe::FirewareType(path.c_str()) != 0) {
        return Fail(path, "an archive's path has to fit the job's row, in 127 characters; use a shorter one",
                    kExitStaging);
    }
    std::string image;
    const std::string unfit = ReadImage(path, &image);
    if (!unfit.empty()) return Fail(path, unfit, kExitStaging);

    JobRow job = DescribeJob(path, target, image);
    if (const Fault fault = StageImage(kStagingFile, image, &job)) return Fail(fault);
    PrintStaged(job, as_json);
    return FinishOutput();
}
