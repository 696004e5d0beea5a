#include "buslog.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "protocol.h"

namespace velmorin {
namespace {

constexpr Micros kMaxShift = 8'000'000'000'000'000'000;  // a log's time, at most 10^18, still fits on top

bool IsCommand(std::uint8_t pf) {
    constexpr std::uint8_t kCommands[] = {kPfVersionCheck,   kPfHeartbeat,    kPfStartDownload,
                                          kPfAddressRequest, kPfGroupStart,   kPfData,
                                          kPfGroupEnd,       kPfProgramCheck, kPfReset};
    return std::ranges::find(kCommands, pf) != std::end(kCommands);
}

bool IsReply(std::uint8_t pf) {
    constexpr std::uint8_t kReplies[] = {kPfVersionCheckReply, kPfHeartbeatReply,    kPfStartDownloadReply,
                                         kPfAddressReply,      kPfGoAhead,           kPfGroupStartReply,
                                         kPfGroupEndReply,     kPfProgramCheckReply, kPfResetReply};
    return std::ranges::find(kReplies, pf) != std::end(kReplies);
}

}  // namespace

Micros BusLog::StraightTime(Micros at) {
    if (facts.frames > 0 && at < raw_last_) {
        ++facts.backwards;
        shift_ = std::min(shift_ + (raw_last_ - at), kMaxShift);
    }
    raw_last_ = at;
    return std::max(facts.last, at + shift_);
}

BusLog::Interface* BusLog::InterfaceNamed(std::string_view name) {
    for (const auto& interface : interfaces_) {
        if (interface->name == name) return interface.get();
    }
    if (interfaces_.size() == kMaxInterfaces) return nullptr;
    interfaces_.push_back(std::make_unique<Interface>());
    interfaces_.back()->name = name;
    return interfaces_.back().get();
}

void BusLog::NoteBadLine(bool foreign) {
    ++facts.bad_lines;
    if (foreign) ++facts.foreign_lines;
}

void BusLog::Take(const LoggedFrame& logged) {
    Interface* const bus = InterfaceNamed(logged.interface);
    if (bus == nullptr) return NoteBadLine(false);
    const Micros at = StraightTime(logged.at);
    const can_frame& frame = logged.frame;
    const bool is_error = (frame.can_id & CAN_ERR_FLAG) != 0;
    if (!is_error) bit_rate_.Take(FrameBits(frame), facts.frames == 0 ? 0 : at - facts.last);
    if (facts.frames++ == 0) facts.first = at;
    facts.last = at;
    if (is_error) {
        ++facts.error_frames;
        for (const auto& follower : bus->followers) {
            if (follower) follower->BusError(frame, at);
        }
        return;
    }
    if ((frame.can_id & CAN_EFF_FLAG) == 0) return;
    const auto pf = PfOf(frame.can_id);
    if (SourceOf(frame.can_id) == kUpdaterAddress) {
        if (IsCommand(pf)) TakeCommand(bus, frame, at);
    } else if (IsReply(pf)) {
        TakeReply(bus, frame, at);
    }
}

void BusLog::TakeCommand(Interface* bus, const can_frame& frame, Micros at) {
    const auto charge = DestinationOf(frame.can_id);
    const bool heartbeat = PfOf(frame.can_id) == kPfHeartbeat;
    std::unique_ptr<Follower>& follower = bus->followers[charge];
    if (follower && heartbeat && follower->StartsAnew(frame, at)) {
        Conclude(std::exchange(follower, nullptr), at, false, true);
    }
    if (!follower) Begin(bus, charge, at);
    follower->Command(frame, at);
}

/// A reply belongs to the update of its device. The updater looks at neither source nor destination, so a
/// stranger's reply is everybody's.
void BusLog::TakeReply(Interface* bus, const can_frame& frame, Micros at) {
    const auto source = SourceOf(frame.can_id);
    const bool to_updater = DestinationOf(frame.can_id) == kUpdaterAddress;
    if (!bus->any && to_updater) Begin(bus, source, at);  // the log begins within an update
    if (to_updater && bus->followers[source]) return bus->followers[source]->Reply(frame, at, false);
    for (const auto& follower : bus->followers) {
        if (follower) follower->Reply(frame, at, true);
    }
}

Follower& BusLog::Begin(Interface* bus, std::uint8_t charge, Micros at) {
    bus->any = true;
    bus->followers[charge] = std::make_unique<Follower>(bus->name, charge, at);
    return *bus->followers[charge];
}

void BusLog::Conclude(std::unique_ptr<Follower> follower, Micros end, bool ran, bool replaced) {
    if (updates_.size() < kMaxUpdates) {
        updates_.push_back(follower->Finish(end, ran, replaced));
    } else {
        ++facts.updates_left_out;
    }
}

std::vector<Update> BusLog::Finish(std::optional<Micros> ran_until) {
    for (const auto& interface : interfaces_) {
        for (auto& follower : interface->followers) {
            if (follower)
                Conclude(std::move(follower), ran_until ? *ran_until + shift_ : facts.last,
                         ran_until.has_value(), false);
        }
    }
    const auto commanded = [](const Update& update) { return update.commands > 0; };
    if (std::ranges::any_of(updates_, commanded)) std::erase_if(updates_, std::not_fn(commanded));
    std::ranges::stable_sort(updates_, {}, &Update::started);
    facts.bitrate = bit_rate_.Rate();
    const auto took = static_cast<double>(facts.last - facts.first);
    if (took > 0) {
        const double bits = static_cast<double>(bit_rate_.bits());
        facts.busy = bits * 1e6 / facts.bitrate.value_or(kBusBitrate) / took;
    }
    return std::move(updates_);
}

}  // namespace velmorin
