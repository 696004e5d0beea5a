// Plays the device of a candump log against a live updater, so that a case from the field can be run again.
#pragma once

#include <linux/can.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "responder.h"

namespace sim {

/// A log that cannot be played; the text says which, and why.
class LogError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A command of the recorded updater with what the recorded device sent after it.
struct RecordedCommand {
    struct Reply {
        Micros delay;  ///< after the command
        can_frame frame;
    };
    can_frame frame;
    std::vector<Reply> replies;
};

struct Recording {
    std::uint8_t address;                     ///< the device's
    std::vector<RecordedCommand> commands;    ///< but for heartbeats and data frames
    std::vector<RecordedCommand> heartbeats;  ///< with the heartbeat replies
    std::size_t skipped_lines = 0;            ///< not empty, but no frame's

    std::size_t Replies() const;  ///< to commands, heartbeats aside
};

/// Reads a log as `candump -l` or `-L` write it, gzip'ed or not, and keeps what the updater and one device
/// sent each other: the device at `address`, or without one the only device that answers in the log. What is
/// no extended data frame between the two is left out. Throws LogError for a log that cannot be read, holds
/// no frames, no reply of that device, or those of several when no address is given.
Recording ReadRecording(const std::string& path, std::optional<std::uint8_t> address);

/// The recorded device. It sends every recorded reply as long after the live command as it came after the
/// recorded one. What a live command is answered with:
/// - A heartbeat: what the heartbeat with the same number in the log's order was, with the live sequence
/// number; or
///   nothing, when that one was not answered. Heartbeats beyond the log's last are treated as that one.
/// - A data frame: nothing. Replies are told apart by the commands around the data, so neither the pace nor a
///   lost data frame matters.
/// - Any other command: what the next command in the log was, when both have the same PF; so a command that
/// the
///   recorded updater sent three times before it was answered has to come three times again. When the PF
///   differs, a repetition of the last command is not answered, and any other command moves on to the log's
///   next one of its PF, whose replies it gets, or gets none.
///
/// Replies are sent byte by byte as recorded, so the live updater has to be given the recorded job's
/// addresses and image; a command that differs from the recorded one is told. After an updater has gone the
/// log starts again with the next one.
class Answer : public Responder {
  public:
    explicit Answer(Recording recording) : recording_(std::move(recording)) {}

    bool Receive(const can_frame& frame, Micros now) override;
    std::optional<Micros> NextDue() const override;
    std::optional<can_frame> TakeDue(Micros now) override;
    void UpdaterGone() override;

    bool HasBegun() const override { return begun_; }
    bool IsOver() const override { return over_; }

    /// Every reply but those to heartbeats was sent, in one job.
    bool IsRight() const override;
    std::string Summary() const override;
    std::vector<std::string> TakeNotes() override;

  private:
    struct Pending {
        Micros due;
        can_frame frame;
    };

    void OnHeartbeat(const can_frame& frame, Micros now);
    void OnCommand(const can_frame& frame, Micros now);
    void Queue(const RecordedCommand::Reply& reply, Micros now);

    Recording recording_;
    std::deque<Pending> pending_;  ///< by due time
    std::vector<std::string> notes_;
    std::size_t next_command_ = 0, next_heartbeat_ = 0;
    std::size_t heard_ = 0;     ///< commands in all
    std::size_t answered_ = 0;  ///< replies to commands in this job, or in the last
    bool begun_ = false;
    bool over_ = false;
};

}  // namespace sim
