// The staging file as velmorinctl uses it: a queue of jobs. Each call opens the file, does all of its work in
// one transaction and closes it again, so what it says is done is done, whatever happens next, and what
// failed has changed nothing. A lock that others hold is waited for, 5 s unless told otherwise. Nothing is
// printed, but for the line "error" of Tool_StringToHex on a damaged cell. Without memory std::bad_alloc is
// thrown.
#pragma once

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "fault.h"
#include "sendcache.h"

namespace velmorin {

constexpr int kLockWaitMs = 5000;     ///< for each lock
constexpr int kRecordWaitMs = 60000;  ///< where the result of a device is to be recorded

/// One row of `tag_history`.
struct JobRow {
    long long id = 0;       ///< the row's number, which no other row ever gets
    std::string name;       ///< image path, any bytes; empty when it had 128 characters or more
    int state = 0;          ///< 0 until the result is recorded, then 1
    int chargeaddress = 0;  ///< the device's bus address
    int caninterface = 0;   ///< CAN port number
    int devtype = 0;        ///< device type
    int updateaddress = 0;  ///< update address
    int filesize = 0;       ///< image size in bytes
    int result = 0;         ///< a ResultCode
    int timeuse = 0;        ///< milliseconds the job took
    unsigned int crcA = 0;  ///< CRC A of the image
    unsigned int crcB = 0;  ///< CRC B of the image
    int timestamp = 0;      ///< seconds since the epoch

    bool IsOpen() const;  ///< the readers take it for a job to be downloaded
};

/// Appends every job to `jobs` in the order of insertion.
Fault ReadJobs(const char* file, std::vector<JobRow>* jobs);

/// Appends a job's groups with their packets to the cache, as they stand in the file and in the order of
/// insertion; a packet whose group has no row is left out. kNoJob unless the job is open still.
/// `for_download`: the file must be writable, too, and nobody closes the job meanwhile.
Fault ReadGroups(const char* file, const JobRow& job, bool for_download, std::list<s_addnode>* cache);

/// Fills in the next group of an image with its packets; false when there is none left.
using NextGroup = std::function<bool(s_addnode*)>;

/// Inserts an open job with its groups and packets under the first second from now on that no job and no row
/// has, and sets the job's `timestamp` and `id`; those of the groups do not count. The file is made when it
/// is missing. CaughtSignal() ends it with kSignal: nothing is staged then.
Fault StageJob(const char* file, JobRow* job, const NextGroup& next_group);

/// Inserts an open job without groups, for a download from memory; else as StageJob.
Fault InsertJob(const char* file, JobRow* job);

/// Closes the job of that row's number with a result and milliseconds, and removes its groups and packets.
/// Waits 60 s, whatever signal comes. kNoJob when the row is gone.
Fault RecordResult(const char* file, const JobRow& job, int result, int duration_ms);

/// Closes every open job of that timestamp as interrupted; its rows go. `may_close` is asked while nobody
/// else can write to the file; what it gives is the fault. kNoJob when there is none, or only closed ones.
Fault CloseJob(const char* file, int timestamp, const std::function<Fault()>& may_close);

/// What `CleanUnowned` and `CleanAll` did.
struct Cleaned {
    int jobs = 0;
    int groups = 0;
    int packets = 0;
    bool shrunk = false;  ///< the room was given back to the disk
};

/// Removes the groups and packets that no open job owns.
Fault CleanUnowned(const char* file, Cleaned* cleaned);
/// Removes all groups and packets and closes every open job as interrupted. `may_clean` as in CloseJob.
Fault CleanAll(const char* file, const std::function<Fault()>& may_clean, Cleaned* cleaned);

/// Is the file sound? Reads all of it. With `writable`, may it be written, too?
Fault CheckStagingFile(const char* file, bool writable);

}  // namespace velmorin
