#include "patience.h"

namespace velmorin {
namespace {

constexpr int kGoAheadTimes = 4;     // a device erases its flash before the go-ahead
constexpr int kNoProgressTimes = 8;  // whatever else is answered

std::string ForSeconds(const char* what, int seconds) {
    return std::string(what) + " for " + std::to_string(seconds) + " s";
}

const char* Missing(Step step) {
    switch (step) {
        case kStepStartDownload:
            return "no answer to the start download";
        case kStepRequestAddress:
            return "no answer to the address request";
        case kStepStartGroup:
            return "no answer to the group start";
        case kStepGroupEnd:
            return "no verdict on the group";
        case kStepProgramCheck:
            return "no answer to the program check";
        case kStepReset:
            return "no answer to the reset";
        case kStepIdle:
        case kStepLinkWait:
        case kStepBegin:
        case kStepData:
        case kStepClosing:
            break;
    }
    return "no answer to a heartbeat";
}

}  // namespace

std::string Patience::Lost(Micros now, Step step) const {
    if (asked_at_ >= 0 && IsOver(now - asked_at_, 1)) return ForSeconds(Missing(step), seconds_);
    if (go_ahead_due_since_ >= 0 && IsOver(now - go_ahead_due_since_, kGoAheadTimes))
        return ForSeconds("no go-ahead", seconds_ * kGoAheadTimes);
    const bool groups_due = step != kStepProgramCheck && step != kStepReset;
    if (groups_due && IsOver(now - confirmed_at_, kNoProgressTimes))
        return ForSeconds("no group confirmed", seconds_ * kNoProgressTimes);
    return "";
}

}  // namespace velmorin
