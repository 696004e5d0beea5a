#include "update.h"

#include <ctime>

#include "carryout.h"
#include "report.h"
#include "summary.h"

using namespace velmorin;

int Update(const std::string& image, const Target& target, const std::vector<int>& update_addresses,
           const RunOptions& options) {
    JobRunner runner(options);
    std::string bytes;
    const std::string fault = ReadImage(image, &bytes);
    if (!fault.empty()) {
        runner.Refuse(image, fault, kExitStaging);
        return runner.Status();
    }
    for (const int address : update_addresses) {
        if (!runner.MayGoOn()) break;
        Target one = target;
        one.update = address;
        PackedJob job;
        job.image = image;
        job.row = DescribeJob(image, one, bytes);
        job.row.timestamp = static_cast<int>(std::time(nullptr));  // of a dry run; a row gets its own
        PackForDevice(bytes, &job.row, &job.groups);
        runner.Run(std::move(job));
    }
    std::vector<std::string> names;
    for (const int address : update_addresses)
        names.push_back(Format("%02x", static_cast<unsigned int>(address)));
    return Summarize(runner, "UPDATE", names, options);
}
