// The open jobs, as `download` and `export` take them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "jobs.h"
#include "stagedjob.h"

/// Why a command does not do its work.
struct Refusal {
    int status = 0;  ///< the exit status; 0: it does
    std::string what, why;
};

/// The jobs that can be downloaded, oldest first: all of them, the first, or that of `timestamp`; refused
/// when there is none. An open job that cannot be is passed over, with a note that names its remedy.
Refusal ChooseJobs(std::optional<int> timestamp, velmorin::Which which, std::vector<velmorin::JobRow>* jobs);

/// "job 1700000000".
std::string JobText(int timestamp);
