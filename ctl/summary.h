// The end of a command that ran several jobs.
#pragma once

#include <string>
#include <vector>

#include "carryout.h"

/// Prints a table of the jobs, named by `names` in their order, when there are several; jobs that were not
/// reached are in it, too. Returns the command's exit status.
int Summarize(const JobRunner& runner, const char* heading, const std::vector<std::string>& names,
              const RunOptions& options);
