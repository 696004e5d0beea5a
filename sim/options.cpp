#include "options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>

namespace sim {
namespace {

constexpr int kMaxDelayMs = 600'000;
constexpr int kMaxCount = 1'000'000;

/// The whole of `text` as a number in `base` from `low` to `high`; 16 also takes "0x" in front.
std::uint32_t ParseNumber(const std::string& option, const std::string& text, int base, std::uint32_t low,
                          std::uint32_t high) {
    const bool prefixed = base == 16 && (text.starts_with("0x") || text.starts_with("0X"));
    const char* const first = text.data() + (prefixed ? 2 : 0);
    const char* const last = text.data() + text.size();
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(first, last, value, base);
    if (error == std::errc::result_out_of_range ||
        (error == std::errc() && end == last && (value < low || value > high))) {
        char range[64];
        std::snprintf(range, sizeof range, base == 16 ? " is not from %x to %x" : " is not from %u to %u",
                      low, high);
        throw CLI::ValidationError(option, text + range);
    }
    if (error != std::errc() || end != last)
        throw CLI::ValidationError(option,
                                   text + (base == 16 ? " is not a hexadecimal number" : " is not a number"));
    return value;
}

/// A status byte other than "accepted": decimal, or hexadecimal after "0x".
std::uint8_t ParseCode(const std::string& option, const std::string& text) {
    const int base = text.starts_with("0x") || text.starts_with("0X") ? 16 : 10;
    return static_cast<std::uint8_t>(ParseNumber(option, text, base, 1, 0xFF));
}

GroupFault ParseGroupFault(const std::string& option, const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) throw CLI::ValidationError(option, text + " is not INDEX:TIMES");
    return {ParseNumber(option, text.substr(0, colon), 10, 0, kMaxCount),
            static_cast<int>(ParseNumber(option, text.substr(colon + 1), 10, 1, kMaxCount))};
}

void AddBusOptions(CLI::App& app, Options& options) {
    app.add_option("--bench", options.bench, "bench directory; the bus is its socket can0")
        ->type_name("DIR")
        ->group("Bus, one of");
    app.add_option("--can", options.can, "CAN interface that is up")
        ->type_name("IFACE")
        ->group("Bus, one of");
}

void AddDeviceOptions(CLI::App& app, Options& options) {
    Settings& device = options.device;
    app.add_option_function<std::string>(
           "--address",
           [&device](const std::string& text) {
               device.address = static_cast<std::uint8_t>(ParseNumber("--address", text, 16, 0, 0xFF));
           },
           "CAN address of the device (default e0)")
        ->type_name("HEX");
    app.add_option_function<std::string>(
           "--plan",
           [&device](const std::string& text) {
               if (text != "A" && text != "B")
                   throw CLI::ValidationError("--plan", text + " is neither A nor B");
               device.plan = text == "A" ? Plan::kA : Plan::kB;
           },
           "checksum that it asks for (default B)")
        ->type_name("A|B");
    app.add_option_function<std::string>(
           "--base",
           [&device](const std::string& text) {
               device.base = ParseNumber("--base", text, 16, 0, std::numeric_limits<std::uint32_t>::max());
           },
           "first group address that it announces (default 08004000)")
        ->type_name("HEX");
    app.add_option("--save", options.save, "write the image as received")->type_name("FILE");
    app.add_flag("--once", options.once,
                 "end after one job; status 0 when it was complete and correct, else 1");
    app.add_option_function<std::string>(
           "--seed",
           [&device](const std::string& text) {
               device.seed = ParseNumber("--seed", text, 10, 0, std::numeric_limits<std::uint32_t>::max());
           },
           "which frames --drop loses (default 1)")
        ->type_name("N");
    app.add_option("--log", options.log, "write every frame of the bus as a candump log")->type_name("FILE");
}

void AddGroupFault(CLI::App& app, const char* name, std::vector<GroupFault>& faults, const char* text) {
    app.add_option_function<std::vector<std::string>>(
           name,
           [name, &faults](const std::vector<std::string>& texts) {
               for (const std::string& each : texts) faults.push_back(ParseGroupFault(name, each));
           },
           text)
        ->type_name("INDEX:TIMES")
        ->allow_extra_args(false)
        ->group("Faults");
}

void AddFaultOptions(CLI::App& app, Faults& faults) {
    app.add_flag("--silent", faults.silent, "answer nothing")->group("Faults");
    app.add_option_function<std::string>(
           "--mute-heartbeats",
           [&faults](const std::string& text) {
               faults.mute_heartbeats =
                   static_cast<int>(ParseNumber("--mute-heartbeats", text, 10, 0, kMaxCount));
           },
           "answer nothing while N heartbeats pass, from the first one in the data on")
        ->type_name("N")
        ->group("Faults");
    app.add_option_function<std::string>(
           "--refuse-start",
           [&faults](const std::string& text) { faults.refuse_start = ParseCode("--refuse-start", text); },
           "refuse the start download with this status")
        ->type_name("CODE")
        ->group("Faults");
    AddGroupFault(app, "--reject-group", faults.reject_groups,
                  "report a wrong checksum for a group, so many times");
    AddGroupFault(app, "--erase-fail", faults.erase_fails,
                  "report a failed erase for a group, so many times");
    app.add_option_function<std::string>(
           "--fail-check",
           [&faults](const std::string& text) { faults.fail_check = ParseCode("--fail-check", text); },
           "fail the program check with this status")
        ->type_name("CODE")
        ->group("Faults");
    app.add_option_function<double>(
           "--drop",
           [&faults](double percent) {
               if (!(percent >= 0 && percent <= 100))
                   throw CLI::ValidationError("--drop", "not from 0 to 100 percent");
               faults.drop_percent = percent;
           },
           "lose this share of the frames in each direction")
        ->type_name("PERCENT")
        ->group("Faults");
    app.add_option_function<std::string>(
           "--delay",
           [&faults](const std::string& text) {
               faults.delay = Micros{1000} * ParseNumber("--delay", text, 10, 0, kMaxDelayMs);
           },
           "send every reply so much later")
        ->type_name("MS")
        ->group("Faults");
    app.add_flag("--no-reset-reply", faults.no_reset_reply, "reset, but do not answer")->group("Faults");
}

}  // namespace

std::optional<int> ParseOptions(int argc, const char* const* argv, Options& options) {
    CLI::App app{"A device that takes firmware over CAN, and on a bench the bus too.", "velmorin-sim"};
    app.set_version_flag("--version", "velmorin-sim " VELMORIN_VERSION);
    AddBusOptions(app, options);
    AddDeviceOptions(app, options);
    AddFaultOptions(app, options.device.faults);
    try {
        app.parse(argc, argv);
        if (options.bench.empty() == options.can.empty()) throw CLI::RequiredError("either --bench or --can");
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        std::fprintf(stderr, "velmorin-sim: %s\nvelmorin-sim --help tells more.\n", error.what());
        return kExitUsage;
    }
    return std::nullopt;
}

}  // namespace sim
