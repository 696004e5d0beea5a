// A transcript is a text file of commands, each followed by what came of it, indented by two spaces: what
// crossed the bus ("<" to the updater, ">" from it), what was printed and what changed in the session, with
// the time in milliseconds. Like lines that follow one another become one, with their number. The commands
// of a session's transcripts; those of the simulator's are told in unit/sim/conversation.cpp:
//
// clang-format off
//   device OPTION...           a simulated device; options as velmorin-sim takes them for the device and its faults
//   image SIZE [NAME]          packs an image
//   groups N...                packs groups of so many packets, with their index in them
//   set FIELD N                of the session, see kFields
//   show FIELD...              tells when one changes; groups, too
//   trace, heartbeats          tells those; trace-port: what the port itself reads and writes
//   lose PF N [COUNT]          the N-th frame of a kind and those behind it never come onto the bus,
//   double PF N [COUNT]        come onto it twice,
//   late MS PF N [COUNT]       later,
//   flip BYTE MASK PF N [COUNT]  or with a byte changed
//   queue US ROOM FAULT        the bus takes so long for a frame, the transmit queue holds so many
//   < PF DATA                  a reply of the device; PF/N: cut to N bytes; 8 digits: an identifier with flags
//   short N                    a read that gives N bytes, or fails for a negative N
//   receive                    takes a frame or a message, and tells its length, kind and bytes
//   from ADDRESS               the device's replies carry it from now on
//   restart, deaf, hear        what happens to the device,
//   down, up, gone             the interface,
//   signal                     the process
//   jump S                     and the wall clock
//   at MS COMMAND, repeat N COMMAND  do so then, or so often
//   wait MS                    time goes by without the session
//   pass N, run                passes of the session, to its end
//   version                    queues a version check
//   end                        writes the session's record
//   watch [trusting] [progress] [pace=N] [patience=N]  a watched run
//   log LINE                   a line into the log of all that was on the bus
//   explain [json|page]        what `velmorinctl explain` tells of that log; of the page what is below its heading
// clang-format on
#pragma once

#include <cstdio>
#include <sstream>
#include <string>

using Words = std::istringstream;

std::string Format(const char* format, auto... values) {
    char text[300];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

/// Carries a transcript's commands out; the transcript that comes of it.
std::string Replay(const std::string& transcript);
