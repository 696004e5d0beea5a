#include "diagnoses.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "logpace.h"

namespace velmorin {
namespace {

constexpr std::uint32_t kStuck = 4;       // commands that go unanswered for two seconds
constexpr std::uint32_t kStuckAtEnd = 2;  // or these, when nothing else came before the end
constexpr Micros kLongIdle = 2'000'000;   // a wait for the go-ahead that an end within may be blamed on

std::string Seconds(Micros time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", static_cast<double>(time) / 1e6);
    return text;
}

std::string Times(std::uint32_t count) {
    if (count == 1) return "once";
    return count == 2 ? "twice" : std::to_string(count) + " times";
}

std::string Count(std::uint32_t count, const char* one, const char* more) {
    return std::to_string(count) + (count == 1 ? one : more);
}

std::string Hex(int value) {
    char text[8];
    std::snprintf(text, sizeof text, "%02X", static_cast<unsigned int>(value) & 0xFF);
    return text;
}

std::string GroupName(int group) {
    return "group " + std::to_string(group);
}

/// The diagnoses of one update, gathered in a fixed order.
class Doctor {
  public:
    explicit Doctor(const Update& update) : u_(update) {}

    std::vector<Diagnosis> Gather() {
        Ends();
        Silence();
        Waits();
        Groups();
        Link();
        Others();
        Early();
        if (all_.empty())
            Add("group-refused",
                "A fourth start of " + GroupName(std::max(LastGroup(), 0)) +
                    " was due without a refusal: repeated go-aheads or verdicts used its three starts up. "
                    "Look at the "
                    "device's log and at a node that repeats frames.",
                AtEnd(LastGroup()), true);
        const auto cause = std::ranges::find_if(all_, [&](const Diagnosis& d) { return d.id == cause_; });
        if (cause != all_.end()) std::rotate(all_.begin(), cause, cause + 1);
        return std::move(all_);
    }

  private:
    void Add(std::string_view id, const std::string& text, const Finding& evidence, bool is_cause = false) {
        all_.push_back({id.data(), text, evidence});
        if (is_cause && cause_.empty()) cause_ = id;
    }
    int LastGroup() const { return static_cast<int>(u_.groups.size()) - 1; }
    bool EndedWith(int code) const { return u_.result == code; }
    bool HasEnd() const { return u_.result && !u_.fell_silent; }
    Finding AtEnd(int group = -1) const { return {1, u_.ended, group}; }
    bool Stuck(ExchangeKind kind, Step step) const {
        const Exchange& e = u_.exchanges[kind];
        return !HasEnd() && u_.step == step && e.sends >= kStuckAtEnd && e.replies == 0;
    }

    void Ends() {
        if (EndedWith(kResultSuccess) && !u_.forged_end)
            Add("success", "The device confirmed every group and the image, and answered the reset.", AtEnd(),
                true);
        if (EndedWith(kResultRefused))
            Add("start-refused",
                "The device refused the download with status " + Hex(u_.device_status) +
                    ": look at its state (a charging session, a lock, another download) and at the device "
                    "type and "
                    "update address of the job.",
                AtEnd(), true);
        if (EndedWith(kResultVersion))
            Add("version-refused",
                "A version check reply did not pass: the device does not take this version, or the "
                "reply was not meant for the updater, which asks for none in a run.",
                AtEnd(), true);
        if (EndedWith(kResultProgramCheck))
            Add("image-refused",
                "The device confirmed every group and then refused the image with status " +
                    Hex(u_.device_status) +
                    ": look at whether the image is for this device, whole and signed.",
                AtEnd(), true);
        if (u_.forged_resets.count > 0)
            Add("forged-reset",
                u_.forged_end && u_.reset_sent
                    ? "Another node answered the reset, and the updater took it for success: whether the "
                      "device was reset is not known. Look for the node that sends such frames."
                : u_.forged_end
                    ? "A reset reply came that no reset had asked for, and the updater took it for success: "
                      "the device does not hold the image. Look for another node that sends such frames, and "
                      "update again."
                    : "A reset reply came that no reset had asked for; velmorin would have ended with "
                      "success. Look for "
                      "another node that sends such frames.",
                u_.forged_resets, u_.forged_end);
    }

    void Silence() {
        const Exchange& start = u_.exchanges[kStartExchange];
        if (u_.replies > 0 || u_.heartbeats + start.most_sends < 2) return;
        std::string text = "The device never answered: " + Count(u_.heartbeats, " heartbeat", " heartbeats") +
                           " and no reply. Look at the charge address " + Hex(u_.charge) +
                           ", the device's supply, and wiring and bit rate.";
        Add("silent-device", text, {u_.heartbeats, u_.started, -1}, !HasEnd());
    }

    void Wait(std::string_view id, ExchangeKind kind, Step step, const std::string& what) {
        const Exchange& e = u_.exchanges[kind];
        const bool stuck = Stuck(kind, step);
        if (!stuck && e.most_sends < kStuck) return;
        Add(id, what, {e.most_sends, e.most_since, e.most_group}, stuck && u_.replies > 0);
    }

    void Waits() {
        Wait("no-address", kAddressExchange, kStepRequestAddress,
             "The device accepted the download and then named no address: look at its free flash and its "
             "log.");
        const bool waits = u_.idle_since != 0 && u_.ended - u_.idle_since >= kLongIdle && !HasEnd();
        Finding waited = u_.no_go_aheads;
        if (waits) waited.Note(u_.idle_since);
        if (waited.count > 0)
            Add("no-go-ahead",
                "The go-ahead never came" +
                    (waits ? " within " + Seconds(u_.ended - u_.idle_since) : std::string()) +
                    " after the address: the updater waits for it without asking. The device may still "
                    "erase, or its go-ahead was "
                    "lost on the bus; look at whether it is erasing, and start the update again.",
                waited, waits);
        NoStartReply();
        Wait("no-verdict", kGroupEndExchange, kStepGroupEnd,
             "A group was sent and the device gave no verdict on it: look at whether it was started anew or "
             "hangs.");
        Wait("no-check-reply", kCheckExchange, kStepProgramCheck,
             "The device did not answer the program check: look at whether it hangs, or checks for longer "
             "than the log lasts.");
        Wait("no-reset-reply", kResetExchange, kStepReset,
             "The device confirmed the image but not the reset: it may have reset at once. Look at the "
             "version it runs.");
    }

    /// Starts count for a group's limit of three, answered or not.
    void NoStartReply() {
        const Exchange& e = u_.exchanges[kGroupStartExchange];
        const bool last_unanswered = e.sends > 0 && e.replies == 0;
        const bool ends_so = EndedWith(kResultGroupRejected) && last_unanswered;
        const bool stuck = Stuck(kGroupStartExchange, kStepStartGroup);
        if (!ends_so && !stuck && e.most_sends < kMaxGroupStarts) return;
        Add("no-group-start-reply",
            "The device did not answer the start of a group, sent " + Times(e.most_sends) +
                " in a row: look at whether it was started anew or hangs, and at the addresses that it "
                "names.",
            {e.most_sends, e.most_since, e.most_group}, ends_so || stuck);
    }

    void Groups() {
        const bool by_refusal = EndedWith(kResultGroupRejected);
        const int last = u_.groups.empty() ? -1 : static_cast<int>(u_.groups.size()) - 1;
        const GroupFacts none;
        const GroupFacts& group = last < 0 ? none : u_.groups[static_cast<std::size_t>(last)];
        if (u_.missing_packets.count > 0)
            Add("packets-lost",
                Count(u_.missing_packets.count, " packet is", " packets are") + " not in the log, first in " +
                    GroupName(u_.missing_packets.group) +
                    ". Where the device refused the group as well, the updater's transmit "
                    "queue was full or the bus was disturbed: look at the bus load, the wiring and the "
                    "termination.",
                u_.missing_packets, by_refusal && group.missing > 0);
        if (u_.refusals.count > 0) {
            const bool whole = group.missing == 0;
            std::string text =
                by_refusal && group.refused > 0
                    ? "The device refused " + GroupName(last) + ": " + Times(group.refused) +
                          (whole ? ", though its packets are complete and in order on the bus: the device's "
                                   "flash or its supply, or a device that "
                                   "takes packets too slowly; look at its supply while it writes."
                                 : ": its packets are incomplete.")
                    : "The device found a wrong checksum " + Times(u_.refusals.count) + ", first in " +
                          GroupName(u_.refusals.group) +
                          ": packets were lost on the bus or in the device, or its flash is failing.";
            Add("group-refused", text, u_.refusals, by_refusal && group.refused >= group.unerased);
        }
        if (u_.erase_failures.count > 0)
            Add("erase-failed",
                "The device could not erase its flash " + Times(u_.erase_failures.count) + ", first for " +
                    GroupName(u_.erase_failures.group) +
                    ": look at its supply, at write protection and at the flash itself.",
                u_.erase_failures, by_refusal);
        if (u_.early_verdicts.count > 0)
            Add("doubled-verdict",
                "A verdict came for " + GroupName(u_.early_verdicts.group) +
                    " before the group's end was sent, " + "as a verdict that is doubled does" +
                    (EndedWith(kResultSuccess)
                         ? ", and the updater passed it over. Look at a node that repeats frames."
                         : ": velmorin counts the group as confirmed without it. Look at a node that repeats "
                           "frames; the program check will fail."),
                u_.early_verdicts);
    }

    void Link() {
        if (u_.link_losses.count > 0 && u_.replies > 0)
            Add("link-lost",
                "The device left four heartbeats in a row unanswered " + Times(u_.link_losses.count) +
                    ", and the download was started over: look at its supply, the wiring, and what else it "
                    "does meanwhile.",
                u_.link_losses, u_.step == kStepLinkWait || u_.step == kStepStartDownload);
        Finding restarts = u_.restarts;
        const Exchange& verdict = u_.exchanges[kGroupEndExchange];
        const bool forgot = u_.dropouts.count > 0 && verdict.most_sends >= kStuck;
        if (restarts.count == 0 && forgot) restarts = u_.dropouts;
        if (restarts.count > 0)
            Add("device-restarted",
                "The device forgot the transfer in the middle of it" +
                    std::string(
                        forgot ? ": it was silent for a while and answers heartbeats since, but nothing else."
                               : ": it names its first address again.") +
                    " It was started anew; look at its supply and its watchdog.",
                restarts, !HasEnd() && forgot);
    }

    void Others() {
        if (u_.strangers.count > 0)
            Add("strangers",
                Count(u_.strangers.count, " reply is", " replies are") +
                    " not from the device or not for the updater, which "
                    "takes them all the same: look for a second device, updater or gateway on this bus.",
                u_.strangers);
        if (u_.bus_errors.count > 0)
            Add("bus-errors",
                Count(u_.bus_errors.count, " error frame", " error frames") +
                    (u_.bus_off.count > 0 ? ", the controller went off the bus" : std::string()) +
                    (u_.unacknowledged.count > 0 ? ": nobody acknowledges. Look at bit rate, wiring, and "
                                                   "whether the device has power."
                                                 : ": look at bit rate, wiring and termination."),
                u_.bus_errors, u_.replies == 0 && !HasEnd() && u_.unacknowledged.count > 0);
    }

    void Early() {
        if (HasEnd()) return;
        if (u_.fell_silent)
            Add("interrupted",
                "The updater stopped in the middle of the update while the log goes on: a signal, a person, "
                "its power, or its "
                "interface. velmorin records a signal as result 13.",
                AtEnd(), true);
        else
            Add("log-ends-early", "The log ends before the update does, so its result is not known.", AtEnd(),
                true);
    }

    const Update& u_;
    std::vector<Diagnosis> all_;
    std::string_view cause_;
};

}  // namespace

std::vector<Diagnosis> Diagnose(const Update& update) {
    return Doctor(update).Gather();
}

std::string ResultWords(const Update& update) {
    return update.result ? ResultText(*update.result) : "not known: the log ends first";
}

std::uint64_t SizeOf(const Update& update) {
    if (update.size_asked != 0) return update.size_asked;
    return std::uint64_t{kGroupSize} * update.groups.size();
}

double RateOf(const Update& update) {
    const auto confirmed = std::ranges::count_if(update.groups, &GroupFacts::confirmed);
    if (confirmed == 0 || update.data_to <= update.data_from) return 0;
    return static_cast<double>(confirmed * kGroupSize) * 1e6 /
           static_cast<double>(update.data_to - update.data_from);
}

}  // namespace velmorin
