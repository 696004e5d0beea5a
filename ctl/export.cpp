#include "commands.h"
#include "db.h"
#include "newfile.h"
#include "openjob.h"
#include "platform.h"
#include "report.h"

using namespace velmorin;

int Export(const std::string& path, std::optional<int> timestamp) {
    std::vector<JobRow> jobs;
    const Refusal refusal = ChooseJobs(timestamp, Which::kFirstWhole, &jobs);
    if (refusal.status != 0) return Fail(refusal.what, refusal.why, refusal.status);
    const JobRow& job = jobs.front();
    std::string image, damage;
    if (const Fault fault = ReadStagedImage(kStagingFile, job, false, &image, &damage)) return Fail(fault);
    if (!damage.empty()) return Fail(JobText(job.timestamp), damage, kExitStaging);
    const std::string fault = WriteNewFile(platform::ResolvePath(path.c_str()), image);
    if (!fault.empty()) return Fail(path, fault + "; name a file that can be made");
    std::fprintf(Out(), "exported: %s, %d bytes\n", JobText(job.timestamp).c_str(), job.filesize);
    return FinishOutput();
}
