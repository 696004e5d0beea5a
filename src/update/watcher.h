// What a watched run tells whoever watches it, while it runs and at its end.
#pragma once

#include <linux/can.h>

#include <cstdint>
#include <optional>
#include <string>

namespace velmorin {

/// What the updater asks of the device and sends again while the answer is missing.
enum class Question { kStartDownload, kAddressRequest, kGroupStart, kGroupEnd, kProgramCheck, kReset };
/// "start download", "address request" and so on.
const char* QuestionText(Question question);

enum class Verdict { kRight, kWrong, kEraseFailed };

/// The device's word on one start of a group.
struct GroupVerdict {
    int index;             ///< of the group, from 0
    unsigned int address;  ///< that it was sent to
    int attempt;           ///< from 1: starts of this group that came to a verdict
    Verdict verdict;
};

/// How far the image is. Bytes count in confirmed groups, padding excluded.
struct Progress {
    int bytes;
    int of;
    int groups;  ///< confirmed
    int groups_of;
    double rate;   ///< image bytes a second since the first group start, packets on their way included
    double eta_s;  ///< at that rate; negative while none can be told
    int retries;
};

/// Frames that did not count, all together.
struct Ignored {
    int count;
    std::string reason;  ///< of the last one, in a few words
    can_frame last;
};

/// Every call comes from within RunWatched, in the order of events; none may block for long.
class Watcher {
  public:
    virtual ~Watcher() = default;
    /// The device answers heartbeats; again after a lost link.
    virtual void OnLink() {}
    virtual void OnGroup(const GroupVerdict&) {}
    /// At least twice a second from the first group start on, and after every confirmed group.
    virtual void OnProgress(const Progress&) {}
    /// A question went out again; `count` of them in all.
    virtual void OnRetry(Question, int /*count*/) {}
    /// At most once a second, and once before the end for what was not told yet.
    virtual void OnIgnored(const Ignored&) {}
    /// Something a person should know, once.
    virtual void OnNote(const std::string& /*text*/) {}
    /// Every frame of the job as it went out or came in, counted or not.
    virtual void OnFrame(const can_frame&) {}
};

/// Why the run ended.
enum class RunEnd {
    kDecided,  ///< the device decided: `result` is what it came to
    kSilent,   ///< no answer within the patience
    kBusLost,  ///< the bus is gone, or was off or down for longer than the patience
    kSignal,   ///< CaughtSignal() told so
};

struct RunReport {
    RunEnd end = RunEnd::kDecided;
    int result = 0;                             ///< a ResultCode, to be recorded
    bool image_confirmed = false;               ///< every group and the image as a whole
    bool reset_confirmed = false;               ///< the reset reply said "done"
    std::optional<std::uint8_t> device_status;  ///< of the last reply that carries one
    std::string why;  ///< what ended it, in words, where `result` does not say it all; else empty
    int bytes = 0;    ///< of the image, in confirmed groups
    int groups = 0;   ///< confirmed
    int retries = 0;
    int ignored = 0;
    int queue_waits = 0;  ///< frames that had to be offered again because the transmit queue was full
    double duration_s = 0;
    double rate = 0;  ///< image bytes a second, from the first group start to the last verdict
};

}  // namespace velmorin
