#include "runoptions.h"

#include <net/if.h>

#include <algorithm>

#include "arguments.h"

using namespace velmorin;

namespace {

constexpr NumberRange kBitrates = {10, 1000, 1000000};
constexpr NumberRange kPaces = {10, 1, 100};
constexpr NumberRange kPatience = {10, 0, 86400};
constexpr char kPaceMaxText[] = "max";

std::string CheckInterfaceName(const std::string& name) {
    const bool possible =
        !name.empty() && name.size() < IFNAMSIZ && name != "." && name != ".." &&
        std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c != '/' && c < 0x7F; });
    return possible ? "" : "'" + name + "' cannot be an interface: 1 to 15 characters, no blank and no slash";
}

int ParsePace(const std::string& text) {
    if (text == kPaceMaxText) return kPaceMax;
    try {
        return static_cast<int>(ParseNumber("--pace", text, kPaces));
    } catch (const CLI::ValidationError&) {
        throw CLI::ValidationError("--pace", "'" + text + "' is neither a number from 1 to 100 nor max");
    }
}

}  // namespace

std::string PaceText(int pace) {
    return pace == kPaceMax ? kPaceMaxText : std::to_string(pace);
}

CLI::Option* AddInterface(CLI::App* command, std::string* interface) {
    return command->add_option("--interface", *interface, "the CAN interface (default: " + *interface + ")")
        ->check(CheckInterfaceName)
        ->type_name("NAME");
}

void AddRunOptions(CLI::App* command, RunOptions* options) {
    AddInterface(command, &options->interface);
    AddNumber(command, "--bitrate", kBitrates, &options->bitrate,
              "bit/s that the bus runs at (default: " + std::to_string(kBusBitrate) + ")");
    command->add_flag("--no-setup", options->no_setup, "leave the interface as it is, and only check it");
    command
        ->add_option_function<std::string>(
            "--pace", [=](const std::string& text) { options->run.pace = ParsePace(text); },
            "packets in 10 ms, 1 to 100, or max: as fast as the bus takes them (default: 1)")
        ->type_name("N|max");
    AddNumber(command, "--patience", kPatience, &options->run.patience_s,
              "how long an answer may take; 0: for ever (default: 30)")
        ->type_name("SECONDS");
    command->add_flag("--trusting", options->run.trusting, "believe every frame, as velmorin does");
    command->add_flag("--keep-going", options->keep_going, "go on with the next job after one that failed");
    CLI::Option* json = command->add_flag("--json", options->json, "one JSON object a line for every event");
    command->add_flag("--quiet", options->quiet, "tell of failures only")->excludes(json);
    AddOutputFile(command, "--log", &options->log, "write every frame of the job to FILE, as a candump log");
    command->add_flag("--dry-run", options->dry_run,
                      "show what would be done; needs no bus and writes nothing");
}
