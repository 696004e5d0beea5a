// How a job is to be run: the options that `update` and `download` share.
#pragma once

#include <string>

#include "protocol.h"
#include "watchedrun.h"

namespace CLI {  // whose header is the slowest of all
class App;
class Option;
}  // namespace CLI

struct RunOptions {
    std::string interface = "can" + std::to_string(velmorin::kBusPort);
    int bitrate = velmorin::kBusBitrate;
    bool no_setup = false;
    velmorin::RunSettings run;
    bool keep_going = false;
    bool json = false;
    bool quiet = false;
    std::string log;  ///< empty: none
    bool dry_run = false;
};

void AddRunOptions(CLI::App* command, RunOptions* options);
/// `--interface`: a name that an interface can have.
CLI::Option* AddInterface(CLI::App* command, std::string* interface);

/// "4" or "max", as on the command line.
std::string PaceText(int pace);
