// What people ask of the staging file and the prescribed readers leave out. Nothing here prints; every call
// opens the file and closes it again, and none makes one.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "sendcache.h"

/// One row of `tag_history`.
struct JobRow {
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

/// What is staged, of all jobs together.
struct StagedRows {
    int groups = 0;
    int packets = 0;
    int free_pages = 0;  ///< pages of the file that hold nothing
};

/// Why something failed, in a few words; empty when it did not.
using Fault = std::string;

/// Appends every job to `jobs` in the order of insertion.
Fault ReadJobs(const char* file, std::vector<JobRow>* jobs);
/// Counts what is staged.
Fault CountStaged(const char* file, StagedRows* rows);

/// The first open job, which is the one that is downloaded; null when there is none. Points into `jobs`.
const JobRow* FirstOpen(const std::vector<JobRow>& jobs);

/// Checks that the cache holds the job's image whole and as it was packed: addresses, identifiers, packets,
/// order, sizes and every checksum. What differs first, for a person to read.
Fault CheckStaged(const JobRow& job, const std::list<s_addnode>& cache);
