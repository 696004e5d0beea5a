// The open jobs, as `download` and `export` take them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "stagedjob.h"

/// The jobs that can be downloaded, oldest first: all of them, the first, or that of `timestamp`. An open job
/// that cannot be is passed over, with a note that names its remedy. 0, else the exit status after a line on
/// standard error: there is none.
int ChooseJobs(std::optional<int> timestamp, velmorin::Which which, std::vector<velmorin::JobRow>* jobs);

/// "job 1700000000".
std::string JobText(int timestamp);
