#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <list>
#include <vector>

#include "Load.h"
#include "Packdata.h"
#include "checkstaged.h"
#include "commands.h"
#include "db.h"
#include "jobs.h"
#include "openjob.h"
#include "platform.h"
#include "report.h"
#include "tool.h"

using namespace velmorin;

namespace {

/// Makes the file, and only then: the loader appends.
bool MakeNew(const std::string& path) {
    const int fd =
        open(platform::ResolvePath(path.c_str()).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
        Fail(path, std::strerror(errno));
        return false;
    }
    close(fd);
    return true;
}

/// Compares what is in the file with the job.
Fault CheckExported(const std::string& path, const JobRow& job) {
    const int size = tool::Tool_GetFileSize(path.c_str());
    if (size != job.filesize) {
        return std::to_string(size) + " bytes instead of the job's " + std::to_string(job.filesize);
    }
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    if (PackData().Pack_ReadFileToCache(bytes.data(), bytes.size(), path.c_str()) != 0)
        return "cannot be read back";
    const bool same = tool::crc32_planB(bytes.data(), static_cast<unsigned int>(size)) == job.crcB;
    return same ? "" : "its checksum is not the job's";
}

}  // namespace

int Export(const std::string& path) {
    const std::optional<JobRow> job = FindOpenJob();
    if (!job) return kExitFailure;
    Load loader;
    s_history record{};
    std::list<s_addnode> cache;
    IndexPackets(kStagingFile);
    if (!LoadOpenJob(*job, &loader, &record, &cache)) return kExitFailure;
    const Fault damage = CheckStaged(*job, cache);
    if (!MakeNew(path)) return kExitFailure;
    loader.Load_UnitTest(&cache, path.c_str());
    const Fault difference = CheckExported(path, *job);
    if (!difference.empty()) Fail(path, difference);
    if (!damage.empty()) Fail(JobText(*job), "damaged: " + damage);
    if (!difference.empty() || !damage.empty()) return kExitFailure;
    std::printf("exported: job %d, %d bytes\n", job->timestamp, job->filesize);
    return FinishOutput();
}
