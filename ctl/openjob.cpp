#include "openjob.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include "db.h"
#include "protocol.h"
#include "report.h"
#include "tool.h"

using namespace velmorin;

std::optional<JobRow> FindOpenJob() {
    std::vector<JobRow> jobs;
    const Fault fault = ReadJobs(kStagingFile, &jobs);
    const JobRow* open = FirstOpen(jobs);
    if (fault.empty() && open != nullptr) return *open;
    Fail(StagingFile(), fault.empty() ? "no job is open" : fault);
    return std::nullopt;
}

bool LoadOpenJob(const JobRow& job, Load* loader, s_history* record, std::list<s_addnode>* cache) {
    loader->Load_DbToCache(record, cache);
    if (loader->mstamp != job.timestamp) {
        Fail(StagingFile(), JobText(job) + " could not be loaded");
    } else if (cache->empty()) {
        Fail(JobText(job),
             "it is open, but nothing is staged of it; if nobody will finish it: velmorinctl close " +
                 std::to_string(job.timestamp));
    }
    return loader->mstamp == job.timestamp && !cache->empty();
}

std::string JobText(const JobRow& job) {
    return "job " + std::to_string(job.timestamp);
}

void NoteMissingCrcA(int filesize) {
    if (filesize % kPacketSize == 0) return;
    Note("the image's size is no multiple of " + std::to_string(kPacketSize) +
         ", so it has no CRC A: only a device that asks for CRC B can take it");
}

bool StagingFileIsWritable() {
    if (tool::Tool_CheckNodeIsExit(kStagingFile) != 1) {
        Fail(StagingFile(), std::strerror(errno));
        return false;
    }
    if (db().DB_TryWrite(kStagingFile, nullptr) == 0) return true;
    Fail(StagingFile(), "cannot be written");
    return false;
}
