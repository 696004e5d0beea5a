// The bus as a candump log, which can-utils, python-can and Wireshark read.
#pragma once

#include <linux/can.h>
#include <sys/time.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "file.h"

namespace velmorin {

/// One log line without its newline: "(seconds.micros) INTERFACE ID#DATA". An extended identifier takes 8 hex
/// digits, a standard one 3; a remote frame has R and its length instead of data.
std::string CandumpLine(timeval when, const std::string& interface, const can_frame& frame);

using Micros = std::int64_t;

struct LoggedFrame {
    Micros at = 0;               ///< the log's time
    std::string_view interface;  ///< a view into the line
    can_frame frame{};           ///< flags included; data bytes past the length are zero
};

enum class LineKind {
    kFrame,    ///< a classic frame: data, remote or error
    kForeign,  ///< a frame of another kind, such as CAN FD
    kBlank,    ///< nothing, or a comment
    kBad,      ///< anything else
};

/// Takes a line without its newline, a carriage return at the end included. `to` is set for kFrame alone.
/// Interface names are 1 to 15 printable ASCII characters; times are below 10^12 seconds.
LineKind ParseCandumpLine(std::string_view line, LoggedFrame* to);

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
