// Queries for velmorinctl; they print nothing and never create the file. Each opens it and closes it again.
#pragma once

#include <string>
#include <vector>

namespace velmorin {

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
[[nodiscard]] Fault ReadJobs(const char* file, std::vector<JobRow>* jobs);
/// Counts what is staged.
[[nodiscard]] Fault CountStaged(const char* file, StagedRows* rows);

/// The first open job, which is the one that is downloaded; null when there is none. Points into `jobs`.
const JobRow* FirstOpen(const std::vector<JobRow>& jobs);

/// Gives `tag_data` an index by job and group, unless it has one, so that a group's packets are found without
/// reading all others. Failure is silent; look-ups only get slower.
void IndexPackets(const char* file);

}  // namespace velmorin
