// Staged jobs, from an image file to a send cache.
#pragma once

#include <list>
#include <optional>
#include <string>
#include <vector>

#include "jobs.h"

namespace velmorin {

/// Where an image goes; each value from 0 to 255.
struct Target {
    int charge = 0;
    int device = 0;
    int update = 0;
    int port = -1;  ///< -1: the one that goes with the charge address
};

/// Reads an image file whole. Why it cannot be taken, in a few words with the remedy; empty when it can. It
/// says so of an empty one, of 2 GiB or more, and of what is no regular file.
[[nodiscard]] std::string ReadImage(const std::string& path, std::string* image);

/// The row of a new job as the packer fills it in, without its second. CRC A is over the image as it is, as
/// staged rows have it: 0xFFFFFFFF for a size that is no multiple of 4.
JobRow DescribeJob(const std::string& path, const Target& target, const std::string& image);

/// The groups as `Pack_RuningV2` makes them of the image, the last one filled up with 0xFF; the job's CRC A
/// becomes that of the filled-up image, which the device is asked to confirm.
void PackForDevice(const std::string& image, JobRow* job, std::list<s_addnode>* cache);

/// Stages the image as rows for the job's four bus values, under a second of its own; sets the job's
/// timestamp and number.
Fault StageImage(const char* file, const std::string& image, JobRow* job);

/// An open job, and why it is not to be downloaded.
struct PassedOver {
    JobRow job;
    std::string why;  ///< "nothing is staged of it", "damaged: group 2: its checksum is wrong"
};

struct OpenJobs {
    std::vector<JobRow> whole;  ///< oldest first
    std::vector<PassedOver> passed_over;
};

enum class Which { kFirstWhole, kAll };

/// Sorts the open jobs: all of them, or up to the first whole one. `timestamp` leaves those of that second
/// only; kNoJob when that one is closed or unknown.
Fault SortOpenJobs(const char* file, std::optional<int> timestamp, OpenJobs* jobs, Which which = Which::kAll);

/// Reads a job's rows and puts its image together again. `damage` tells what is wrong with them, empty when
/// they are whole. `for_download` and kNoJob as in ReadGroups.
Fault ReadStagedImage(const char* file, const JobRow& job, bool for_download, std::string* image,
                      std::string* damage);

}  // namespace velmorin
