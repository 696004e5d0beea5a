// The other half of staging: a send cache from the rows of a staged job, the job's end, and a self-check.
#pragma once

#include <sys/time.h>

#include <list>

#include "sendcache.h"

/// Order of use: `Load_DbToCache`; the download, or `Load_UnitTest`; `Load_SynDatabases`; `Load_CacheClean`.
/// Record and cache belong to the caller. Every operation returns 0: the staging file's faults are reported
/// by the readers, and what they could not read is missing from the record and the cache.
class Load {
  public:
    /// Fills the record with the first open job and appends its groups with their packets to the cache, as
    /// they stand in the staging file; without an open job the record is zero and the cache gets nothing.
    /// Groups that the cache held before get the packets of their own job and address appended, too. Prints
    /// the job and every group.
    int Load_DbToCache(s_history* record, std::list<s_addnode>* cache);
    /// Prints the time since loading, empties the staged groups and packets of every job, and closes the
    /// loaded job with `result`.
    int Load_SynDatabases(int result);
    /// Frees every group and packet.
    int Load_CacheClean(std::list<s_addnode>* cache);
    /// Takes all packets out of the cache and appends their image bytes to the file at `path`, each group's
    /// by packet index; the groups stay. Prints how many bytes and groups. A packet is skipped whose index or
    /// length no packet can have, or with which the group would outgrow its room.
    int Load_UnitTest(std::list<s_addnode>* cache, const char* path);
    /// Appends the payload of every node to the file at `path`. A file that cannot be opened or written is
    /// reported on standard error; nothing is written to one that cannot be opened.
    int Load_Save(std::list<s_savenode>* nodes, const char* path);

    int mstamp = 0;       ///< timestamp of the loaded job, 0 when no job was open
    timeval starttime{};  ///< when loading started
    timeval endtime{};    ///< when the job was closed
};
