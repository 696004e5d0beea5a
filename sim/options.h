// The command line.
#pragma once

#include <optional>
#include <string>

#include "device.h"

namespace sim {

struct Options {
    std::string bench;                    ///< bench directory; empty when `can` is given
    std::string can;                      ///< CAN interface
    std::optional<int> bitrate;           ///< bit/s of the bench bus; none: frames take no time
    std::optional<std::uint8_t> address;  ///< of the device, when given; `device` holds it, too
    Settings device;
    std::string answer;  ///< candump log whose device is played instead, empty for none
    std::string save;    ///< image file, empty for none
    std::string log;     ///< candump log, empty for none
    bool once = false;
};

/// Exit status of a command line that cannot be carried out.
constexpr int kExitUsage = 2;

/// Reads the command line into `options`. None: go on. Otherwise the program ends with this status, and help,
/// version or the error (which option, and why) has been printed.
std::optional<int> ParseOptions(int argc, const char* const* argv, Options& options);

}  // namespace sim
