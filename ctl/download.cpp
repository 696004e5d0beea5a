#include <algorithm>
#include <memory>
#include <vector>

#include "Load.h"
#include "canframe.h"
#include "checkstaged.h"
#include "commands.h"
#include "db.h"
#include "jobs.h"
#include "openjob.h"
#include "process.h"
#include "protocol.h"
#include "report.h"
#include "run.h"

using namespace velmorin;

namespace {

/// What packing would have left in the session.
void Prepare(canframe* session, const JobRow& job) {
    session->SetAddress(job.caninterface, job.chargeaddress, job.devtype, job.updateaddress);
    session->m_firewaretype = canframe::FirewareType(job.name.c_str());
    session->m_filesize = job.filesize;
    session->m_crcA = job.crcA;
    session->m_crcB = job.crcB;
}

/// The closing must be looked at: nothing tells of one that failed.
bool IsRecorded(const JobRow& job, int result) {
    std::vector<JobRow> jobs;
    StagedRows staged;
    Fault fault = ReadJobs(kStagingFile, &jobs);
    if (fault.empty()) fault = CountStaged(kStagingFile, &staged);
    const bool closed = std::any_of(jobs.begin(), jobs.end(), [&](const JobRow& row) {
        return row.timestamp == job.timestamp && row.state != 0 && row.result == result;
    });
    if (fault.empty() && !closed) fault = JobText(job) + " is not closed";
    if (fault.empty() && staged.groups + staged.packets != 0) fault = "what was staged is still there";
    if (!fault.empty()) Fail(StagingFile(), fault);
    return fault.empty();
}

int Report(const JobRow& job, const canframe& session, bool image_confirmed) {
    if (session.m_errorcode != kResultSuccess) return Fail(JobText(job), ResultText(session.m_errorcode));
    // A reset reply ends a job at any time, also before the device has taken the image.
    if (!image_confirmed) return Fail(JobText(job), "the device reset before it had confirmed the image");
    std::printf("%s: %s\n", JobText(job).c_str(), ResultText(session.m_errorcode));
    return 0;
}

}  // namespace

int Download() {
    PrepareProcess();
    const std::optional<JobRow> job = FindOpenJob();
    if (!job || !StagingFileIsWritable()) return kExitFailure;

    auto session = std::make_unique<canframe>();
    Load loader;
    IndexPackets(kStagingFile);
    if (!LoadOpenJob(*job, &loader, &session->m_history, &session->m_addlist)) return kExitFailure;
    const Fault damage = CheckStaged(*job, session->m_addlist);
    if (!damage.empty()) {
        return Fail(JobText(*job),
                    "damaged, not downloaded: " + damage + "; close it and stage the image again");
    }
    NoteMissingCrcA(job->filesize);
    session->CAN_InitDevice(kBusPort, kBusBitrate);
    Prepare(session.get(), *job);
    const int signal_number = RunUntilFinished(*session);

    const bool image_confirmed = std::all_of(session->m_addlist.begin(), session->m_addlist.end(),
                                             [](const s_addnode& group) { return group.state == 1; });
    loader.Load_SynDatabases(session->m_errorcode);
    loader.Load_CacheClean(&session->m_addlist);
    const int status = Report(*job, *session, image_confirmed);
    if (!IsRecorded(*job, session->m_errorcode)) return kExitFailure;
    return signal_number != 0 ? kSignalStatus + signal_number : status;
}
