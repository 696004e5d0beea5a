// velmorinctl: looks after the update jobs of a controller for the person beside it.
#include <CLI/CLI.hpp>
#include <climits>
#include <csignal>
#include <cstdio>
#include <new>
#include <string>

#include "arguments.h"
#include "commands.h"
#include "dbc.h"
#include "explain.h"
#include "listing.h"
#include "platform.h"
#include "process.h"
#include "report.h"

using namespace velmorin;

namespace {

constexpr NumberRange kHexByte = {16, 0x00, 0xFF};
constexpr NumberRange kByte = {10, 0, 255};
constexpr NumberRange kTimestamp = {10, 0, INT_MAX};

struct CommandLine {
    bool as_json = false;
    std::string image;
    Target target;
    std::string file;
    int timestamp = 0;
    ExplainRequest explain;
    std::function<int()> command;
};

void AddStage(CLI::App* app, CommandLine* line) {
    CLI::App* stage = app->add_subcommand("stage", "pack an image, to be downloaded later");
    stage->add_option("IMAGE", line->image, "the firmware image")->required()->type_name("");
    AddNumber(stage, "--charge", kHexByte, &line->target.charge, "address of the device on the bus")
        ->required();
    AddNumber(stage, "--device", kHexByte, &line->target.device, "type of the device")->required();
    AddNumber(stage, "--update", kHexByte, &line->target.update, "update address")->required();
    AddNumber(stage, "--port", kByte, &line->target.port,
              "port number (default: 1 for charge address e0, 2 for e1, else 0)");
    stage->callback([line] { line->command = [line] { return Stage(line->image, line->target); }; });
}

int ExplainLog(const ExplainRequest& request) {
    constexpr int kStatus[] = {0, kExitUsage, kExitUnreadable, kExitFailure};  // by ExplainEnd
    const ExplainOutcome outcome = Explain(request);
    std::fwrite(outcome.output.data(), 1, outcome.output.size(), stdout);
    if (!outcome.why.empty()) Fail(outcome.what, outcome.why);
    const int printed = FinishOutput();
    return outcome.why.empty() ? printed : kStatus[static_cast<int>(outcome.end)];
}

void AddExplain(CLI::App* app, CommandLine* line) {
    CLI::App* explain =
        app->add_subcommand("explain", "say what a candump log shows of updates, and why they failed");
    ExplainRequest* request = &line->explain;
    explain->add_option("LOG", request->log, "the log, gzip'ed or not; - for standard input")
        ->required()
        ->type_name("");
    AddNumber(explain, "--charge", kHexByte, &request->charge,
              "only the updates of the device at this address");
    explain->add_flag("--json", request->as_json, "as one JSON document");
    explain->add_option("--html", request->html, "write it as a page, too")->type_name("FILE");
    explain->callback([line, request] { line->command = [request] { return ExplainLog(*request); }; });
}

void AddCommands(CLI::App* app, CommandLine* line) {
    CLI::App* jobs = app->add_subcommand("jobs", "list every job with its result");
    jobs->add_flag("--json", line->as_json, "as one JSON array");
    jobs->callback([line] { line->command = [line] { return PrintJobs(line->as_json); }; });

    AddStage(app, line);
    AddExplain(app, line);

    CLI::App* download =
        app->add_subcommand("download", "download the open staged job and record its result");
    download->callback([line] { line->command = Download; });

    CLI::App* file = app->add_subcommand("export", "write the image of the open staged job to a new file");
    file->add_option("FILE", line->file, "the file to make")->required()->type_name("");
    file->callback([line] { line->command = [line] { return Export(line->file); }; });

    CLI::App* close =
        app->add_subcommand("close", "close an open job that nobody will finish, as interrupted");
    AddNumber(close, "TIMESTAMP", kTimestamp, &line->timestamp, "the job's, as `jobs` shows it")
        ->required()
        ->type_name("");
    close->callback([line] { line->command = [line] { return Close(line->timestamp); }; });

    CLI::App* clean = app->add_subcommand("clean", "empty what is staged; the jobs stay");
    clean->callback([line] { line->command = Clean; });

    CLI::App* dbc = app->add_subcommand("dbc", "print the protocol's frames as a DBC database");
    AddNumber(dbc, "--charge", kHexByte, &line->target.charge, "address of the device on the bus")
        ->required();
    dbc->callback([line] { line->command = [line] { return PrintDbc(line->target.charge); }; });
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app{"Looks after the update jobs of a charging station's controller.", "velmorinctl"};
    app.set_version_flag("--version", "velmorinctl " VELMORIN_VERSION);
    app.require_subcommand(1);
    CommandLine line;
    AddCommands(&app, &line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kExitUsage;
    }
    HoldStandardDescriptors();
    IgnoreWriteSignals();
    platform::AnnounceBench("velmorinctl");
    return line.command();
} catch (const std::bad_alloc&) {
    std::fputs("velmorinctl: out of memory\n", stderr);
    return kExitFailure;
}
