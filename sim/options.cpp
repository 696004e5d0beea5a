#include "options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <set>

#include "arguments.h"

namespace sim {
namespace {

constexpr int kMaxDelayMs = 600'000;
constexpr int kMaxCount = 1'000'000;
constexpr int kMaxTake = 1000;
constexpr int kMinBitrate = 5000, kMaxBitrate = 1'000'000;  // what CAN transceivers and controllers do
constexpr std::int64_t kMaxWord = 0xFFFFFFFF;

/// A status byte other than "accepted": decimal, or hexadecimal after "0x".
std::uint8_t ParseCode(const std::string& option, const std::string& text) {
    const int base = text.starts_with("0x") || text.starts_with("0X") ? 16 : 10;
    return static_cast<std::uint8_t>(ParseNumber(option, text, {base, 1, 0xFF}));
}

GroupFault ParseGroupFault(const std::string& option, const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) throw CLI::ValidationError(option, text + " is not INDEX:TIMES");
    return {static_cast<std::size_t>(ParseNumber(option, text.substr(0, colon), {10, 0, kMaxCount})),
            static_cast<int>(ParseNumber(option, text.substr(colon + 1), {10, 1, kMaxCount}))};
}

void AddBusOptions(CLI::App& app, Options& options) {
    app.add_option("--bench", options.bench, "bench directory; the bus is its socket can0")
        ->type_name("DIR")
        ->group("Bus, one of");
    app.add_option("--can", options.can, "CAN interface that is up")
        ->type_name("IFACE")
        ->group("Bus, one of");
    AddNumber(&app, "--bitrate", {10, kMinBitrate, kMaxBitrate}, &options.bitrate,
              "pass frames as a bus at N bit/s does (--bench only)");
}

void AddDeviceOptions(CLI::App& app, Options& options) {
    Settings& device = options.device;
    AddNumber(&app, "--address", {16, 0, 0xFF}, &options.address, "CAN address of the device (default e0)");
    app.add_option_function<std::string>(
           "--plan",
           [&device](const std::string& text) {
               if (text != "A" && text != "B")
                   throw CLI::ValidationError("--plan", text + " is neither A nor B");
               device.plan = text == "A" ? Plan::kA : Plan::kB;
           },
           "checksum that it asks for (default B)")
        ->type_name("A|B");
    AddNumber(&app, "--base", {16, 0, kMaxWord}, &device.base,
              "first group address that it announces (default 08004000)");
    app.add_option("--save", options.save, "write the image as received")->type_name("FILE");
    app.add_flag("--once", options.once,
                 "end after one job; status 0 when it was complete and correct, else 1");
    AddNumber(&app, "--seed", {10, 0, kMaxWord}, &device.seed, "which frames --drop loses (default 1)");
    app.add_option("--log", options.log, "write every frame of the bus as a candump log")->type_name("FILE");
    app.add_option("--answer", options.answer,
                   "send the replies of this candump log's device instead of own ones")
        ->type_name("LOG");
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
    AddNumber(&app, "--mute-heartbeats", {10, 0, kMaxCount}, &faults.mute_heartbeats,
              "answer nothing while N heartbeats pass, from the first one in the data on")
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
    AddNumber(&app, "--take", {10, 1, kMaxTake}, &faults.take,
              "take at most N data frames in 10 ms, and lose the others")
        ->group("Faults");
    app.add_option_function<std::string>(
           "--delay",
           [&faults](const std::string& text) {
               faults.delay = Micros{1000} * ParseNumber("--delay", text, {10, 0, kMaxDelayMs});
           },
           "send every reply so much later")
        ->type_name("MS")
        ->group("Faults");
    app.add_flag("--no-reset-reply", faults.no_reset_reply, "reset, but do not answer")->group("Faults");
}

/// What does not go together.
void CheckTogether(const CLI::App& app, const Options& options) {
    if (options.bench.empty() == options.can.empty())
        throw CLI::RequiredError("one of --bench and --can, and only one,");
    if (options.bitrate && !options.can.empty())
        throw CLI::ValidationError(
            "--bitrate", "--can " + options.can + " has a bit rate of its own; only a bench bus takes one");
    if (options.answer.empty()) return;
    std::error_code missing;
    if (std::filesystem::equivalent(options.answer, options.log, missing))
        throw CLI::ValidationError("--log", options.log + " is the log of --answer; choose another file");
    const std::set<std::string> allowed = {"--bench", "--can",  "--bitrate", "--address",
                                           "--log",   "--once", "--answer"};
    for (const CLI::Option* const given : app.parse_order())
        if (!allowed.contains(given->get_name()))
            throw CLI::ValidationError(given->get_name(),
                                       "does not go with --answer, which sends what the log has");
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
        CheckTogether(app, options);
        options.device.address = options.address.value_or(options.device.address);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        std::fprintf(stderr, "velmorin-sim: %s\nvelmorin-sim --help tells more.\n", error.what());
        return kExitUsage;
    }
    return std::nullopt;
}

}  // namespace sim
