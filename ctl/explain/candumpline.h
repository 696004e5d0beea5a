// One line of a candump log: "(1700000000.123456) can0 10E08A70#0011223344556677", as `candump -l` and
// `candump -L` write it, with or without the direction (R or T) behind it.
#pragma once

#include <linux/can.h>

#include <cstdint>
#include <string_view>

namespace velmorin {

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

}  // namespace velmorin
