#include "check.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "bus.h"
#include "canframe.h"
#include "db.h"
#include "display.h"
#include "interface.h"
#include "jobs.h"
#include "lock.h"
#include "platform.h"
#include "report.h"
#include "waiting.h"

using namespace velmorin;

namespace {

using Json = nlohmann::ordered_json;

constexpr Micros kAnswerTime = 2'000'000;

/// What one line of the check came to.
struct Finding {
    int status = kExitDone;
    std::string text;  ///< with the remedy
};

struct DeviceAnswer {
    bool asked = false;
    bool answers = false;
};

/// The reply to heartbeat 0 of a job on port 0 with device type 0.
bool IsAnswer(const can_frame& frame, int charge_address) {
    return (frame.can_id & (CAN_EFF_FLAG | CAN_RTR_FLAG | CAN_ERR_FLAG)) == CAN_EFF_FLAG &&
           PfOf(frame.can_id) == kPfHeartbeatReply && SourceOf(frame.can_id) == charge_address &&
           DestinationOf(frame.can_id) == kUpdaterAddress && frame.can_dlc > kAtHeartbeatNumber + 1 &&
           frame.data[kAtHeartbeatNumber] == 0 && frame.data[kAtHeartbeatNumber + 1] == 0;
}

DeviceAnswer AskDevice(const std::string& interface, int charge_address) {
    canframe session;
    std::string fault;
    session.m_canhandle = OpenBus(interface, &fault);
    if (session.m_canhandle == nullptr) return {};
    session.SetAddress(0, charge_address, 0, 0);
    SystemWaiting waiting;
    const Micros end = waiting.Now() + kAnswerTime;
    const can_frame heartbeat = session.FrameOf(session.Build28672());
    bool sent = false;
    while (waiting.Now() < end) {
        if (!sent) sent = WriteFrame(session.m_canhandle, heartbeat) == BusState::kDone;
        can_frame frame{};
        BusState state = BusState::kDone;
        while ((state = ReadFrame(session.m_canhandle, &frame)) == BusState::kDone) {
            if (IsAnswer(frame, charge_address)) return {true, true};
        }
        if (state != BusState::kEmpty) break;
        waiting.Wait(session.m_canhandle->fd, !sent, end);
    }
    return {true, false};
}

Finding CheckInterface(const std::string& name, const InterfaceState& interface) {
    std::string text = name + ": ";
    const std::string fault = InterfaceFault(interface, 0);
    if (!fault.empty()) return {kExitBus, text + fault};
    text += "up";
    if (interface.bitrate) text += ", " + std::to_string(*interface.bitrate) + " bit/s";
    if (interface.state) text += ", " + *interface.state;
    if (interface.tx_errors && interface.rx_errors) {
        text +=
            Format(", error counters: %d sending, %d receiving", *interface.tx_errors, *interface.rx_errors);
    }
    const std::string warning = InterfaceWarning(interface);
    return {kExitDone, warning.empty() ? text : text + "; " + warning};
}

Finding CheckDevice(const DeviceAnswer& device, const std::string& interface,
                    std::optional<int> charge_address) {
    if (!charge_address) return {kExitDone, "not asked; name it with --charge"};
    const std::string name = Format("%02x ", static_cast<unsigned int>(*charge_address));
    if (!device.asked)
        return {kExitDone, name + "is not asked: the interface or another update is in the way"};
    if (device.answers) return {kExitDone, name + "answers"};
    return {kExitSilent, name + "does not answer; " + SilenceAdvice(interface, *charge_address)};
}

/// The word of `check --json` for it, and what to say.
std::pair<const char*, Finding> CheckStaging() {
    const Fault fault = CheckStagingFile(kStagingFile, true);
    const std::string file = StagingFile() + ": ";
    switch (fault.kind) {
        case FaultKind::kNone:
            return {"sound", {kExitDone, file + "sound"}};
        case FaultKind::kMissing: {
            const std::string folder = std::filesystem::path(StagingFile()).parent_path();
            if (access(folder.c_str(), W_OK) == 0)
                return {"missing", {kExitDone, file + "missing; the first job makes it"}};
            const char* const why = errno == ENOENT
                                        ? "missing, and so is its folder; make it: "
                                        : "missing, and its folder cannot be written; run as its owner: ";
            return {"missing", {kExitStaging, file + why + folder}};
        }
        case FaultKind::kNotWritable:
        case FaultKind::kBusy:
        case FaultKind::kDisk:
            return {"not writable", {kExitStaging, file + fault.text}};
        default:
            return {"damaged", {StatusOf(fault), file + fault.text}};
    }
}

Finding CheckUpdater(const std::optional<LockHolder>& holder, const std::string& interface) {
    if (!holder) return {kExitDone, "no update is running on " + interface};
    return {kExitBusy,
            "an update is running on " + interface + ": " + HolderText(*holder) + "; wait for its end"};
}

template <typename Value>
Json OrNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

}  // namespace

int Check(const std::string& name, std::optional<int> charge_address, bool as_json) {
    const std::optional<LockHolder> updater = HolderOf(name);
    const InterfaceState interface = LookAtInterface(name);
    const Finding interface_finding = CheckInterface(name, interface);
    DeviceAnswer device;
    // A second one who asks would spoil the other updater's count of answers.
    if (charge_address && !updater && interface_finding.status == kExitDone)
        device = AskDevice(name, *charge_address);
    const auto [staging_word, staging_finding] = CheckStaging();

    const std::pair<const char*, Finding> lines[] = {{"interface", interface_finding},
                                                     {"device", CheckDevice(device, name, charge_address)},
                                                     {"staging file", staging_finding},
                                                     {"updater", CheckUpdater(updater, name)}};
    int status = kExitDone;
    for (const auto& [heading, finding] : lines) {
        if (status == kExitDone) status = finding.status;
        if (!as_json) std::fprintf(Out(), "%-12s  %s\n", heading, finding.text.c_str());
    }
    if (as_json) {
        const Json object = {
            {"interface",
             {{"name", name},
              {"exists", interface.exists},
              {"is_can", interface.is_can},
              {"up", interface.up},
              {"bitrate", OrNull(interface.bitrate)},
              {"state", OrNull(interface.state)},
              {"tx_errors", OrNull(interface.tx_errors)},
              {"rx_errors", OrNull(interface.rx_errors)}}},
            {"device",
             {{"asked", device.asked}, {"answers", device.asked ? Json(device.answers) : Json(nullptr)}}},
            {"staging_file", staging_word},
            {"updater", updater ? Json(updater->pid) : Json(nullptr)},
            {"status", status}};
        std::fprintf(Out(), "%s\n", object.dump().c_str());
    }
    const int output = FinishOutput();
    return status != kExitDone ? status : output;
}
