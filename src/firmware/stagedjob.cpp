#include "stagedjob.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "Packdata.h"
#include "checkstaged.h"
#include "file.h"
#include "platform.h"
#include "protocol.h"
#include "textcrc.h"

namespace velmorin {
namespace {

/// A packer for that job, without the packer's own start: that makes the staging file and prints.
PackData PackerFor(const JobRow& job) {
    PackData packer;
    packer.canport = job.caninterface;
    packer.chargeaddress = job.chargeaddress;
    packer.devtype = job.devtype;
    packer.upaddress = job.updateaddress;
    packer.canid = DataIdentifier(job.chargeaddress);
    packer.groupsize = kGroupSize;
    packer.timestamp = job.timestamp;
    return packer;
}

}  // namespace

std::string ReadImage(const std::string& path, std::string* image) {
    // A pipe in its place does not make us wait.
    const int fd = open(platform::ResolvePath(path.c_str()).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const File file(fd < 0 ? nullptr : fdopen(fd, "rb"));
    struct stat status {};
    if (!file || fstat(fd, &status) != 0) return std::strerror(errno);
    if (const char* kind = OtherKind(status.st_mode))
        return std::string(kind) + ", not an image; name a file";
    if (status.st_size == 0) return "empty; an image has at least one byte";
    if (status.st_size > INT_MAX) return "2 GiB or more, which no device takes";
    image->resize(static_cast<std::size_t>(status.st_size));
    if (std::fread(image->data(), 1, image->size(), file.get()) == image->size()) return "";
    return std::ferror(file.get()) != 0 ? std::strerror(errno)
                                        : "it got shorter while it was read; try again";
}

JobRow DescribeJob(const std::string& path, const Target& target, const std::string& image) {
    JobRow job;
    job.name = path.size() < sizeof s_history::name ? path : "";
    job.chargeaddress = target.charge;
    job.caninterface = target.port >= 0 ? target.port : PortNumber(target.charge);
    job.devtype = target.device;
    job.updateaddress = target.update;
    job.filesize = static_cast<int>(image.size());
    job.crcA = CrcA(image);
    job.crcB = CrcB(image);
    return job;
}

void PackForDevice(const std::string& image, JobRow* job, std::list<s_addnode>* cache) {
    std::string padded = image;
    const std::size_t whole = static_cast<std::size_t>(GroupsOf(job->filesize)) * kGroupSize;
    padded.insert(padded.end(), whole - padded.size(), static_cast<char>(kPadding));
    job->crcA = CrcA(padded);
    PackData packer = PackerFor(*job);
    for (int group = 0; group < GroupsOf(job->filesize); ++group) {
        packer.Pack_WriteDataToDBV2(
            cache, group, Bytes(padded) + static_cast<std::ptrdiff_t>(group) * kGroupSize, kGroupSize);
    }
}

Fault StageImage(const char* file, const std::string& image, JobRow* job) {
    PackData packer = PackerFor(*job);
    int index = 0;
    return StageJob(file, job, [&](s_addnode* next) {
        const int start = index * kGroupSize;
        if (start >= job->filesize) return false;
        std::list<s_addnode> group;
        packer.Pack_WriteDataToDBV2(&group, index++, Bytes(image) + start,
                                    std::min(kGroupSize, job->filesize - start));
        *next = std::move(group.front());
        return true;
    });
}

Fault ReadStagedImage(const char* file, const JobRow& job, bool for_download, std::string* image,
                      std::string* damage) {
    std::list<s_addnode> cache;
    if (Fault fault = ReadGroups(file, job, for_download, &cache)) return fault;
    *damage = cache.empty() ? "nothing is staged of it" : CheckStaged(job, cache, image);
    if (!cache.empty() && !damage->empty()) damage->insert(0, "damaged: ");
    return {};
}

Fault SortOpenJobs(const char* file, std::optional<int> timestamp, OpenJobs* jobs, Which which) {
    std::vector<JobRow> rows;
    if (Fault fault = ReadJobs(file, &rows)) return fault;
    const JobRow* closed = nullptr;
    for (const JobRow& row : rows) {
        if (timestamp && row.timestamp != *timestamp) continue;
        if (!row.IsOpen()) {
            closed = &row;
            continue;
        }
        std::string image, damage;
        const Fault fault = ReadStagedImage(file, row, false, &image, &damage);
        if (fault.kind == FaultKind::kNoJob) continue;  // closed since
        if (fault) return fault;
        if (damage.empty()) {
            jobs->whole.push_back(row);
            if (which == Which::kFirstWhole) return {};
        } else {
            jobs->passed_over.push_back({row, damage});
        }
    }
    if (!timestamp || !jobs->whole.empty() || !jobs->passed_over.empty()) return {};
    if (closed != nullptr)
        return {FaultKind::kNoJob, std::string("it is closed: ") + ResultText(closed->result)};
    return {FaultKind::kNoJob, "no job has this timestamp; see velmorinctl jobs"};
}

}  // namespace velmorin
