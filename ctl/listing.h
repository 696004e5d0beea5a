// `velmorinctl jobs`: what the staging file knows of every job.
#pragma once

/// Prints every job, oldest first, as a table or as one JSON array. The exit status.
int PrintJobs(bool as_json);
