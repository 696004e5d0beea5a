// A transcript is a text file of commands, each followed by what came of it, indented by two spaces: what
// crossed the bus ("<" to the updater, ">" from it), what was printed and what changed in the session, with
// the time in milliseconds. Like lines that follow one another become one, with their number. The commands
// of a session's transcripts; those of the simulator's are told in unit/sim/conversation.cpp:
//
//   device WORDS...      a simulated device, with plan=A reject=I:N erase=I:N refuse=N check=N mute=N
//                        delay=MS silent no-reset
//   image SIZE [NAME]    packs an image
//   groups N...          packs groups of so many packets, with their index in them
//   set FIELD N          changes a field of the session
//   show FIELD...        tells when it changes, groups too
//   trace, heartbeats    tells those; trace-port: what the port itself reads and writes
//   lose PF N [COUNT]    the fate of the N-th frame of a kind; also double, and late PF MS N [COUNT]
//   flip PF N BYTE MASK  changes a byte of it
//   queue US ROOM FAULT  the bus takes so long for a frame, the transmit queue holds so many
//   < PF DATA            a reply of the device; 8 digits: an identifier with flags; PF/N: a length of N
//   short N              a read that gives N bytes, or fails for a negative N
//   receive              takes a frame or message, and tells its length, kind and bytes
//   from ADDRESS         whose identifiers the device's replies carry from now on
//   restart, deaf, hear, down, up, gone, signal, jump S
//                        what happens to device, bus, process and clock
//   at MS COMMAND        does so then; repeat N COMMAND: so often
//   pass N, run          passes of the session, to its end
//   version, end         queues a version check; its record
//   watch [trusting] [pace=N] [patience=N] [progress]
#pragma once

#include <cstdio>
#include <sstream>
#include <string>

using Words = std::istringstream;

std::string Format(const char* format, auto... values) {
    char text[200];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

/// Carries a transcript's commands out; the transcript that comes of it.
std::string Replay(const std::string& transcript);
