#include "answer.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <utility>

#include "candump.h"
#include "protocol.h"
#include "wire.h"

namespace sim {

using namespace velmorin;  // the protocol's names

namespace {

constexpr int kLongestLine = 1024;

struct Line {
    Micros when;
    can_frame frame;
};

std::string Hex(std::uint32_t value, int digits) {
    char text[9];
    std::snprintf(text, sizeof text, "%0*X", digits, value);
    return text;
}

bool IsExtendedData(const can_frame& frame) {
    return (frame.can_id & (CAN_EFF_FLAG | CAN_RTR_FLAG | CAN_ERR_FLAG)) == CAN_EFF_FLAG;
}

/// True for the replies that only a device in an update sends.
bool IsUpdateReply(const can_frame& frame) {
    return DestinationOf(frame.can_id) == kUpdaterAddress && PfOf(frame.can_id) >= kPfHeartbeatReply &&
           PfOf(frame.can_id) <= kPfResetReply;
}

/// The frames between some device and the updater, in the log's order.
std::vector<Line> ReadLines(const std::string& path, std::size_t& skipped) {
    struct Close {
        void operator()(gzFile file) const { gzclose(file); }
    };
    const std::unique_ptr<gzFile_s, Close> file(gzopen(path.c_str(), "re"));  // plain files as well
    if (!file) throw LogError("--answer " + path + ": " + std::strerror(errno));

    std::vector<Line> lines;
    std::size_t frames = 0;
    std::array<char, kLongestLine> text{};
    while (gzgets(file.get(), text.data(), kLongestLine)) {
        std::string_view line = text.data();
        while (line.ends_with('\n')) line.remove_suffix(1);
        LoggedFrame each;
        const LineKind kind = ParseCandumpLine(line, &each);
        skipped += kind == LineKind::kBad || kind == LineKind::kForeign;
        if (kind != LineKind::kFrame) continue;
        ++frames;
        if (!IsExtendedData(each.frame)) continue;
        if (SourceOf(each.frame.can_id) == kUpdaterAddress ||
            DestinationOf(each.frame.can_id) == kUpdaterAddress)
            lines.push_back({each.at, each.frame});
    }
    int error = Z_OK;
    const char* const reason = gzerror(file.get(), &error);
    if (error != Z_OK && error != Z_BUF_ERROR)
        throw LogError("--answer " + path + ": " + (error == Z_ERRNO ? std::strerror(errno) : reason));
    if (frames == 0) throw LogError("--answer " + path + ": holds no frames in the format of candump -l");
    return lines;
}

/// The device that answers an updater in these frames.
std::uint8_t FindDevice(const std::string& path, const std::vector<Line>& lines) {
    std::set<std::uint8_t> found;
    for (const Line& line : lines)
        if (IsUpdateReply(line.frame)) found.insert(SourceOf(line.frame.can_id));
    if (found.size() == 1) return *found.begin();
    if (found.empty()) throw LogError("--answer " + path + ": no device answers in it");
    std::string text;
    for (const std::uint8_t each : found) text += " " + Hex(each, 2);
    throw LogError("--answer " + path + ": several devices answer in it; choose one by --address:" + text);
}

std::string Text(const can_frame& frame) {
    std::string text = Hex(frame.can_id & CAN_EFF_MASK, 8) + "#";
    for (int i = 0; i < frame.can_dlc; ++i) text += Hex(frame.data[i], 2);
    return text;
}

}  // namespace

std::size_t Recording::Replies() const {
    std::size_t count = 0;
    for (const RecordedCommand& command : commands) count += command.replies.size();
    return count;
}

Recording ReadRecording(const std::string& path, std::optional<std::uint8_t> address) {
    Recording recording{};
    const std::vector<Line> lines = ReadLines(path, recording.skipped_lines);
    recording.address = address ? *address : FindDevice(path, lines);

    struct Last {
        RecordedCommand* command = nullptr;
        Micros when = 0;
    } command, heartbeat;
    bool answered = false;
    for (const auto& [when, frame] : lines) {
        if (SourceOf(frame.can_id) == kUpdaterAddress && DestinationOf(frame.can_id) == recording.address) {
            if (PfOf(frame.can_id) == kPfData) continue;
            const bool beats = PfOf(frame.can_id) == kPfHeartbeat;
            auto& list = beats ? recording.heartbeats : recording.commands;
            list.push_back({frame, {}});
            (beats ? heartbeat : command) = {&list.back(), when};
        } else if (SourceOf(frame.can_id) == recording.address &&
                   DestinationOf(frame.can_id) == kUpdaterAddress) {
            answered = true;
            const Last& asked = PfOf(frame.can_id) == kPfHeartbeatReply ? heartbeat : command;
            // Without a command before it this is the answer to one that the log does not hold.
            if (asked.command)
                asked.command->replies.push_back({std::max<Micros>(0, when - asked.when), frame});
        }
    }
    if (!answered)
        throw LogError("--answer " + path + ": no reply of device " + Hex(recording.address, 2) + " in it");
    return recording;
}

bool Answer::Receive(const can_frame& frame, Micros now) {
    if (!IsExtendedData(frame) || SourceOf(frame.can_id) != kUpdaterAddress ||
        DestinationOf(frame.can_id) != recording_.address)
        return false;
    ++heard_;
    if (PfOf(frame.can_id) == kPfHeartbeat)
        OnHeartbeat(frame, now);
    else if (PfOf(frame.can_id) != kPfData)
        OnCommand(frame, now);
    return true;
}

void Answer::OnHeartbeat(const can_frame& frame, Micros now) {
    if (recording_.heartbeats.empty()) return;
    const RecordedCommand& heartbeat =
        recording_.heartbeats[std::min(next_heartbeat_++, recording_.heartbeats.size() - 1)];
    for (RecordedCommand::Reply reply : heartbeat.replies) {
        // As far off the live number as the recorded reply was off the recorded one, which is not at all as a
        // rule.
        const int off = GetLe16(reply.frame.data + kAtHeartbeatNumber) -
                        GetLe16(heartbeat.frame.data + kAtHeartbeatNumber);
        PutLe16(reply.frame.data + kAtHeartbeatNumber,
                static_cast<std::uint16_t>(GetLe16(frame.data + kAtHeartbeatNumber) + off));
        Queue(reply, now);
    }
}

void Answer::OnCommand(const can_frame& frame, Micros now) {
    if (!std::exchange(begun_, true)) answered_ = 0;
    over_ = false;
    const auto& commands = recording_.commands;
    const auto fits = [&](const RecordedCommand& each) {
        return PfOf(each.frame.can_id) == PfOf(frame.can_id);
    };
    const auto expected = commands.begin() + static_cast<std::ptrdiff_t>(next_command_);
    if (expected == commands.end() || !fits(*expected)) {
        if (next_command_ > 0 && fits(commands[next_command_ - 1])) return;  // a repetition
        const auto later = std::find_if(expected, commands.end(), fits);
        if (later == commands.end()) {
            notes_.push_back(Text(frame) + ": the log has no such command from here on, not answered");
            return;
        }
        next_command_ = static_cast<std::size_t>(later - commands.begin());
    }
    const RecordedCommand& command = commands[next_command_++];
    if (Text(frame) != Text(command.frame))
        notes_.push_back(Text(frame) + " where the log has " + Text(command.frame));
    for (const RecordedCommand::Reply& reply : command.replies) Queue(reply, now);
}

void Answer::Queue(const RecordedCommand::Reply& reply, Micros now) {
    const Micros due = now + reply.delay;
    pending_.insert(std::ranges::upper_bound(pending_, due, {}, &Pending::due), {due, reply.frame});
}

std::optional<Micros> Answer::NextDue() const {
    if (pending_.empty()) return std::nullopt;
    return pending_.front().due;
}

std::optional<can_frame> Answer::TakeDue(Micros now) {
    if (pending_.empty() || pending_.front().due > now) return std::nullopt;
    const can_frame frame = pending_.front().frame;
    pending_.pop_front();
    if (PfOf(frame.can_id) != kPfHeartbeatReply) ++answered_;
    return frame;
}

void Answer::UpdaterGone() {
    pending_.clear();
    next_command_ = next_heartbeat_ = 0;
    over_ = std::exchange(begun_, false);
}

bool Answer::IsRight() const {
    return answered_ == recording_.Replies();
}

std::string Answer::Summary() const {
    return std::to_string(heard_) + " frames heard; " + std::to_string(answered_) + " of the log's " +
           std::to_string(recording_.Replies()) + " replies sent";
}

std::vector<std::string> Answer::TakeNotes() {
    return std::exchange(notes_, {});
}

}  // namespace sim
