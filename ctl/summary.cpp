#include "summary.h"

#include <cstdio>

#include "report.h"

namespace {

void PrintRow(const std::string& name, const std::string& job, const std::string& bytes,
              const std::string& duration, const std::string& text) {
    std::fprintf(Out(), "%-10s  %-10s  %10s  %8s  %s\n", name.c_str(), job.c_str(), bytes.c_str(),
                 duration.c_str(), text.c_str());
}

}  // namespace

int Summarize(const JobRunner& runner, const char* heading, const std::vector<std::string>& names,
              const RunOptions& options) {
    const std::vector<JobEnd>& ends = runner.Ends();
    if (names.size() > 1 && !options.json && !options.quiet && !options.dry_run) {
        PrintRow(heading, "JOB", "BYTES", "DURATION", "RESULT");
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (i >= ends.size()) {
                PrintRow(names[i], "-", "-", "-", "not tried");
                continue;
            }
            const JobEnd& end = ends[i];
            PrintRow(names[i], end.job ? std::to_string(*end.job) : "-", std::to_string(end.report.bytes),
                     DurationText(end.report.duration_s), end.text);
        }
    }
    const int output = FinishOutput();
    return runner.Status() != kExitDone ? runner.Status() : output;
}
