// The open staged job, as `download` and `export` take it.
#pragma once

#include <list>
#include <optional>

#include "Load.h"
#include "jobs.h"
#include "sendcache.h"

/// The first open job, none after a line on standard error.
std::optional<velmorin::JobRow> FindOpenJob();

/// Loads the groups of that job into record and cache. False after a line on standard error: nothing is
/// staged of it, or another job took its place. Whether the rows are whole is for CheckStaged to say.
bool LoadOpenJob(const velmorin::JobRow& job, Load* loader, s_history* record, std::list<s_addnode>* cache);

/// "job 1700000000".
std::string JobText(const velmorin::JobRow& job);
/// Says what an image whose size is no multiple of 4 cannot have.
void NoteMissingCrcA(int filesize);
/// False, after the staging file's own complaint and a line that names it, when it cannot be written now.
bool StagingFileIsWritable();
