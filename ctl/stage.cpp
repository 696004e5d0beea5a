#include <cstring>
#include <ctime>
#include <list>
#include <vector>

#include "Packdata.h"
#include "canframe.h"
#include "checkstaged.h"
#include "commands.h"
#include "db.h"
#include "jobs.h"
#include "openjob.h"
#include "protocol.h"
#include "report.h"
#include "tool.h"

using namespace velmorin;

namespace {

/// A job is known by its second: two of the same one could not be told apart.
void WaitForNewTimestamp() {
    constexpr unsigned long kPauseMs = 50;
    std::vector<JobRow> jobs;
    if (!ReadJobs(kStagingFile, &jobs).empty()) return;
    const auto taken = [&jobs](std::time_t now) {
        for (const JobRow& job : jobs) {
            if (job.timestamp == static_cast<int>(now)) return true;
        }
        return false;
    };
    while (taken(std::time(nullptr))) tool::Tool_Delayms(kPauseMs);
}

/// Reads the job's rows back: are they what was packed?
Fault CheckPacked(const PackData& packer, const std::vector<JobRow>& jobs) {
    const JobRow* row = nullptr;
    for (const JobRow& job : jobs) {
        if (job.IsOpen() && job.timestamp == packer.timestamp) row = &job;
    }
    if (row == nullptr) return "the job has no row";
    if (row->crcB != packer.crcB || row->filesize != packer.filesize) return "the job's row is another's";
    IndexPackets(kStagingFile);
    std::list<s_addnode> cache;
    db().DB_GetInfor(packer.timestamp, &cache, kStagingFile, nullptr);
    for (s_addnode& group : cache) {
        db().DB_GetData(&group.dataqueue, static_cast<int>(group.address), group.canid, group.savestamp,
                        kStagingFile, nullptr);
    }
    return CheckStaged(*row, cache);
}

const char* WhyNotPacked(int result) {
    if (result == kImageEmpty) return "missing or empty";
    return result == kNoMemory ? "no memory for it" : "it cannot be read";
}

int DropPartlyStaged(int timestamp, const Fault& fault) {
    Fail(StagingFile(), "the image is not staged whole: " + fault);
    if (db().DB_CloseJob(kResultInterrupted, timestamp, kStagingFile, nullptr) == 0) return kExitFailure;
    return Fail("job " + std::to_string(timestamp), "it stays open; close it before another one is staged");
}

}  // namespace

int Stage(const std::string& image, const Target& target) {
    if (image.size() >= sizeof s_history::name && canframe::FirewareType(image.c_str()) != 0) {
        return Fail(image,
                    "the path is too long for the job's row, which tells that the image is an archive");
    }
    PackData packer;
    const int port = target.port >= 0 ? target.port : PortNumber(target.charge);
    packer.Pack_Init(port, target.charge, target.device, target.update);
    if (!StagingFileIsWritable()) return kExitFailure;
    WaitForNewTimestamp();
    const int result = packer.Pack_Runing(image.c_str());
    if (result != 0) return Fail(image, WhyNotPacked(result));

    std::vector<JobRow> jobs;
    Fault fault = ReadJobs(kStagingFile, &jobs);
    if (fault.empty()) fault = CheckPacked(packer, jobs);
    if (!fault.empty()) return DropPartlyStaged(packer.timestamp, fault);

    NoteMissingCrcA(packer.filesize);
    const JobRow* first = FirstOpen(jobs);
    if (first->timestamp != packer.timestamp) {
        Note(JobText(*first) +
             " is open, too, and comes first; if nobody will finish it: velmorinctl close " +
             std::to_string(first->timestamp));
    }
    std::printf("staged: job %d, %d bytes\n", packer.timestamp, packer.filesize);
    return FinishOutput();
}
