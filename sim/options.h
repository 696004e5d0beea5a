// The command line.
#pragma once

#include <optional>
#include <string>

#include "device.h"

namespace sim {

struct Options {
    std::string bench;  ///< bench directory; empty when `can` is given
    std::string can;    ///< CAN interface
    Settings device;
    std::string save;  ///< image file, empty for none
    std::string log;   ///< candump log, empty for none
    bool once = false;
};

/// Exit status of a command line that cannot be carried out.
constexpr int kExitUsage = 2;

/// Reads the command line into `options`. None: go on. Otherwise the program ends with this status, and help,
/// version or the error (which option, and why) has been printed.
std::optional<int> ParseOptions(int argc, const char* const* argv, Options& options);

}  // namespace sim
