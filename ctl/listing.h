// `velmorinctl jobs`: what the staging file knows of every job.
#pragma once

#include <climits>

struct ListOptions {
    bool as_json = false;
    bool only_open = false;
    int last = INT_MAX;  ///< how many at most, from the newest
};

/// Prints the jobs, oldest first, as a table or as one JSON array. The exit status. Without a staging file
/// there are none, which a note tells.
int PrintJobs(const ListOptions& options);
