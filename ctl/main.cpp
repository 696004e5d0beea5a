// velmorinctl: looks after the update jobs of a controller for the person beside it.
#include <CLI/CLI.hpp>
#include <climits>
#include <csignal>
#include <cstdio>
#include <new>
#include <string>

#include "arguments.h"
#include "commands.h"
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
    std::optional<int> job;
    bool all = false;
    ListOptions list;
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
    stage->add_flag("--json", line->as_json, "as one JSON object");
    stage->callback(
        [line] { line->command = [line] { return Stage(line->image, line->target, line->as_json); }; });
}

void AddCommands(CLI::App* app, CommandLine* line) {
    CLI::App* jobs = app->add_subcommand("jobs", "list every job with its result");
    jobs->add_flag("--json", line->list.as_json, "as one JSON array");
    jobs->add_flag("--open", line->list.only_open, "only those that are open");
    AddNumber(jobs, "--last", {10, 1, INT_MAX}, &line->list.last, "the newest N alone");
    jobs->callback([line] { line->command = [line] { return PrintJobs(line->list); }; });

    AddStage(app, line);

    CLI::App* file = app->add_subcommand("export", "write the image of the open staged job to a new file");
    file->add_option("FILE", line->file, "the file to make")->required()->type_name("");
    file->add_option("--job", line->job, "that job instead of the oldest one");
    file->callback([line] { line->command = [line] { return Export(line->file, line->job); }; });

    CLI::App* close =
        app->add_subcommand("close", "close an open job that nobody will finish, as interrupted");
    AddNumber(close, "TIMESTAMP", kTimestamp, &line->timestamp, "the job's, as `jobs` shows it")
        ->required()
        ->type_name("");
    close->callback([line] { line->command = [line] { return Close(line->timestamp); }; });

    CLI::App* clean = app->add_subcommand("clean", "empty what is staged; the jobs stay");
    clean->add_flag("--all", line->all, "everything, and close the open jobs");
    clean->callback([line] { line->command = [line] { return Clean(line->all); }; });
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
    PrepareProcess();
    Out();
    platform::AnnounceBench("velmorinctl");
    return line.command();
} catch (const std::bad_alloc&) {
    std::fputs("velmorinctl: out of memory\n", stderr);
    return kExitFailure;
}
