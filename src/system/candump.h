// The bus as a candump log, which can-utils, python-can and Wireshark read.
#pragma once

#include <linux/can.h>
#include <sys/time.h>

#include <string>

#include "file.h"

namespace velmorin {

/// One log line without its newline: "(seconds.micros) INTERFACE ID#DATA". An extended identifier takes 8 hex
/// digits, a standard one 3; a remote frame has R and its length instead of data.
std::string CandumpLine(timeval when, const std::string& interface, const can_frame& frame);

class CandumpLog {
  public:
    /// Starts `path` anew. Throws std::runtime_error, "PATH: REASON", when it cannot be written.
    CandumpLog(const std::string& path, std::string interface);

    /// Appends the frame with the current time; the line is in the file when this returns. False, errno set,
    /// for the first line that cannot be written; the rest is then left out, silently.
    [[nodiscard]] bool Write(const can_frame& frame);

    /// The same for a frame of another time.
    [[nodiscard]] bool Write(const can_frame& frame, timeval when);

  private:
    File file_;
    std::string interface_;
};

}  // namespace velmorin
