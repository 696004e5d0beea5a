// A transcript is a text file of commands, each followed by what came of it, indented by two spaces: what
// crossed the bus ("<" to the updater, ">" from it), what was printed and what changed in the session, with
// the time in milliseconds. Like lines that follow one another become one, with their number. The commands:
//
//   device WORDS...      a simulated device, with plan=A reject=I:N erase=I:N refuse=N check=N mute=N
//   delay=MS
//                        silent, no-reset
//   image SIZE [NAME]    packs an image; groups N...: packs groups of so many packets, with their index in
//   them set FIELD N          show FIELD...: tells when it changes, groups too; trace, heartbeats: tells
//   those lose|double PF N [COUNT]       and late PF MS N [COUNT]: the fate of the N-th frame of a kind flip
//   PF N BYTE MASK  changes a byte of it queue US ROOM FAULT  the bus takes so long for a frame, the transmit
//   queue holds so many < PF DATA            a reply of the device; 8 digits: an identifier with flags; PF/N:
//   cut to N bytes short N              a read that gives N bytes, or fails for a negative N from ADDRESS
//   whose identifiers the device's replies carry from now on restart, deaf, hear, down, up, gone, signal,
//   jump S: what happens to device, bus, process and clock at MS COMMAND, repeat N COMMAND       do so then,
//   or so often pass N, run          passes of the session, to its end; version: queues a version check; end:
//   its record watch [trusting] [pace=N] [patience=N] [progress]
#pragma once

#include <string>

/// Carries a transcript's commands out; the transcript that comes of it.
std::string Replay(const std::string& transcript);
