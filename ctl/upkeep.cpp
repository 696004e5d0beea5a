#include "commands.h"
#include "db.h"
#include "lock.h"
#include "openjob.h"
#include "protocol.h"
#include "report.h"

using namespace velmorin;

namespace {

/// A job that is being downloaded is its download's alone. A holder that has not said yet what it works on
/// may be about to take this very one.
Fault RefuseWhileDownloaded(std::optional<int> timestamp, bool* downloaded) {
    const std::optional<LockHolder> holder = HolderOf(kDownloadLock);
    *downloaded = holder && (!timestamp || holder->work == *timestamp || holder->work == 0);
    if (!*downloaded) return {};
    const std::string who = holder->pid > 0 ? " by process " + std::to_string(holder->pid) : "";
    return {FaultKind::kBusy, "it is being downloaded" + who + "; end that first, or wait for it"};
}

/// How a fault ends the command; `downloaded`: because of a download that runs.
int FailToChange(const Fault& fault, bool downloaded, const std::string& what) {
    const int status = Fail(fault, fault.kind == FaultKind::kNoJob || downloaded ? what : "");
    return downloaded ? kExitBusy : status;
}

}  // namespace

int Close(int timestamp) {
    bool downloaded = false;
    const Fault fault =
        CloseJob(kStagingFile, timestamp, [&] { return RefuseWhileDownloaded(timestamp, &downloaded); });
    if (fault) return FailToChange(fault, downloaded, JobText(timestamp));
    std::fprintf(Out(), "closed: %s, %s\n", JobText(timestamp).c_str(), ResultText(kResultInterrupted));
    return FinishOutput();
}

int Clean(bool all) {
    bool downloaded = false;
    Cleaned cleaned;
    const Fault fault =
        all ? CleanAll(
                  kStagingFile, [&] { return RefuseWhileDownloaded({}, &downloaded); }, &cleaned)
            : CleanUnowned(kStagingFile, &cleaned);
    if (fault.kind == FaultKind::kMissing) {
        Note(StagingFile() + ": there is no staging file, so there is nothing to clean");
        return kExitDone;
    }
    if (fault) return FailToChange(fault, downloaded, "a staged job");
    if (!cleaned.shrunk)
        Note(StagingFile() + ": in use, so its room is not given back yet; clean again later");
    std::fprintf(Out(), "cleaned: %d groups, %d packets", cleaned.groups, cleaned.packets);
    if (all) std::fprintf(Out(), "; closed: %d jobs", cleaned.jobs);
    std::fputs("\n", Out());
    return FinishOutput();
}
