#include "carryout.h"

#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <exception>

#include "bus.h"
#include "db.h"
#include "estimate.h"
#include "file.h"
#include "interface.h"
#include "openjob.h"
#include "platform.h"
#include "process.h"
#include "report.h"
#include "watchedrun.h"

using namespace velmorin;

namespace {

/// Sets what went wrong before the device was asked for anything.
bool Refused(JobEnd* end, int status, const std::string& what, const std::string& why) {
    end->status = status;
    end->what = what;
    end->text = why;
    return false;
}

int StatusOf(const RunReport& report) {
    switch (report.end) {
        case RunEnd::kSilent:
            return kExitSilent;
        case RunEnd::kBusLost:
            return kExitBus;
        case RunEnd::kSignal:
            return kSignalStatus + CaughtSignal();
        case RunEnd::kDecided:
            break;
    }
    switch (report.result) {
        case kResultSuccess:
            return report.image_confirmed && report.reset_confirmed ? kExitDone : kExitFailure;
        case kResultRefused:
        case kResultVersion:
            return kExitRefused;
        case kResultGroupRejected:
            return kExitGroupRefused;
        case kResultProgramCheck:
            return kExitImageRefused;
        default:
            return kExitFailure;
    }
}

/// How the run went, in words.
std::string TextOf(const RunReport& report) {
    std::string text = ResultText(report.result);
    if (report.result == kResultSuccess && !report.image_confirmed) {
        text = "a reset reply ended the job before the device had confirmed the image";
    } else if (report.result == kResultSuccess && !report.reset_confirmed) {
        text = "the device has the image and did not start it; switch it off and on";
    }
    if (report.device_status && report.result != kResultSuccess) {
        text += Format(" (status byte %02x)", static_cast<unsigned int>(*report.device_status));
    }
    return report.why.empty() ? text : text + ": " + report.why;
}

/// What the device holds, as far as we can tell.
const char* DeviceHolds(const RunReport& report) {
    if (report.image_confirmed) return "the device holds the new image, whole";
    return report.groups > 0 ? "the device holds a part of the new image"
                             : "the device holds no whole group of the new image";
}

void Load(const PackedJob& job, canframe* session) {
    session->SetAddress(job.row.caninterface, job.row.chargeaddress, job.row.devtype, job.row.updateaddress);
    session->m_firewaretype = canframe::FirewareType(job.image.c_str());
    session->m_filesize = job.row.filesize;
    session->m_crcA = job.row.crcA;
    session->m_crcB = job.row.crcB;
}

double ExpectedSecondsOf(const PackedJob& job, const RunOptions& options) {
    return ExpectedSeconds(job.row.filesize, options.run.pace);
}

}  // namespace

JobRunner::JobRunner(const RunOptions& options) : options_(options) {}

const JobEnd& JobRunner::Refuse(const std::string& what, const std::string& why, int status) {
    display_ = MakeDisplay(options_);
    JobEnd end;
    Refused(&end, status, what, why);
    return Finish(std::move(end));
}

const JobEnd& JobRunner::Run(PackedJob job) {
    display_ = MakeDisplay(options_);
    JobEnd end;
    if (job.staged) end.job = job.row.timestamp;
    if (options_.dry_run) {
        ShowPlan(job);
        end.job = job.row.timestamp;
        end.text = "dry run";
    } else if (TakeInterface(&end) && OpenLog(&end)) {
        RunOnBus(&job, &end);
    }
    return Finish(std::move(end));
}

void JobRunner::ShowPlan(const PackedJob& job) {
    const JobRow& row = job.row;
    const double seconds = ExpectedSecondsOf(job, options_);
    if (options_.json) return display_->OnStart({row, job.image, options_.run.pace, seconds});
    std::fprintf(
        Out(),
        "image     %s\nupdate    %02x\nsize      %d bytes\ngroups    %d\npackets   %d\nCRC A     %08x\n"
        "CRC B     %08x\nexpected  %s at pace %s\n",
        job.image.c_str(), static_cast<unsigned int>(row.updateaddress), row.filesize, GroupsOf(row.filesize),
        GroupsOf(row.filesize) * kPacketsPerGroup, row.crcA, row.crcB, DurationText(seconds).c_str(),
        PaceText(options_.run.pace).c_str());
}

/// One at a time, and on an interface that is up.
bool JobRunner::TakeInterface(JobEnd* end) {
    const std::string& name = options_.interface;
    if (!lock_ || lock_->Other()) lock_.emplace(name);
    if (lock_->Other()) {
        return Refused(end, kExitBusy, name,
                       "another update is running on it: " + HolderText(*lock_->Other()));
    }
    if (!lock_->Fault().empty() && ends_.empty()) {
        display_->OnNote(lock_->Fault() + "; other updates cannot see that this one is running");
    }
    const std::string fault = PrepareInterface(name, options_.bitrate, !options_.no_setup);
    if (!fault.empty()) return Refused(end, kExitBus, name, fault);
    const std::string warning = InterfaceWarning(LookAtInterface(name));
    if (!warning.empty()) display_->OnNote(name + ": " + warning);
    return true;
}

bool JobRunner::OpenLog(JobEnd* end) {
    if (options_.log.empty() || log_) return true;
    const std::string path = platform::ResolvePath(options_.log.c_str());
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode))) {
        const std::string kind = OtherKind(status.st_mode);
        return Refused(end, kExitFailure, options_.log, kind + " cannot take the log; name a file");
    }
    try {
        log_.emplace(path, options_.interface);
        return true;
    } catch (const std::exception& error) {
        return Refused(end, kExitFailure, "log",
                       std::string(error.what()) + "; name a file that can be made");
    }
}

void JobRunner::RunOnBus(PackedJob* job, JobEnd* end) {
    canframe session;
    std::string fault;
    session.m_canhandle = OpenBus(options_.interface, &fault);
    if (session.m_canhandle == nullptr) {
        Refused(end, kExitBus, options_.interface, fault);
        return;
    }
    if (!job->staged) {
        const Fault unrecorded = InsertJob(kStagingFile, &job->row);
        if (unrecorded) {
            Refused(end, ::StatusOf(unrecorded), StagingFile(), unrecorded.text);
            return;
        }
    }
    end->job = job->row.timestamp;
    end->what = JobText(job->row.timestamp);
    RunSession(job, &session, end);
    Record(*job, end);
}

void JobRunner::RunSession(PackedJob* job, canframe* session, JobEnd* end) {
    Load(*job, session);
    session->m_addlist = std::move(job->groups);
    display_->LogTo(log_ ? &*log_ : nullptr);
    display_->OnStart({job->row, job->image, options_.run.pace, ExpectedSecondsOf(*job, options_)});
    SystemWaiting waiting;
    end->report = RunWatched(*session, options_.run, *display_, waiting);
    display_->Clear();
    if (end->report.end != RunEnd::kDecided) end->report.device_status.reset();  // no reply ended the job
    end->status = StatusOf(end->report);
    end->text = TextOf(end->report);
    if (end->report.end == RunEnd::kSilent) {
        end->text += "; " + SilenceAdvice(options_.interface, job->row.chargeaddress);
    } else if (end->report.end == RunEnd::kBusLost) {
        end->text += "; " + LostBusAdvice(options_.interface);
    }
    if (end->report.end != RunEnd::kDecided) end->text += std::string("; ") + DeviceHolds(end->report);
}

void JobRunner::Record(const PackedJob& job, JobEnd* end) {
    const RunReport& report = end->report;
    const std::string number = std::to_string(job.row.timestamp);
    if (job.staged && report.end != RunEnd::kDecided) {
        end->text += "; the job stays open: velmorinctl download --job " + number;
        return;
    }
    const int duration_ms = static_cast<int>(std::lround(report.duration_s * 1000));
    const Fault fault = RecordResult(kStagingFile, job.row, report.result, duration_ms);
    if (!fault) {
        end->result = report.result;
        return;
    }
    end->status = kExitFailure;
    end->text += "; this could not be recorded: " + fault.text + "; " + DeviceHolds(report) +
                 "; the job is still open: velmorinctl close " + number;
}

const JobEnd& JobRunner::Finish(JobEnd end) {
    if (!display_->LogFault().empty()) {
        end.text += "; the log " + options_.log + " is cut short: " + display_->LogFault();
        if (end.status == kExitDone) end.status = kExitFailure;
    }
    if (!options_.dry_run || options_.json || end.status != kExitDone) display_->OnEnd(end);
    display_.reset();
    if (end.status != kExitDone) Fail(end.what, end.text, end.status);
    return ends_.emplace_back(std::move(end));
}

int JobRunner::Status() const {
    for (const JobEnd& end : ends_) {
        if (end.status != kExitDone) return end.status;
    }
    return kExitDone;
}

bool JobRunner::MayGoOn() const {
    if (CaughtSignal() != 0) return false;
    return options_.keep_going || ends_.empty() || ends_.back().status == kExitDone;
}
