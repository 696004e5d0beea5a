// velmorinctl: updates devices and looks after the update jobs of a controller, for the person beside it.
#include <CLI/CLI.hpp>
#include <climits>
#include <csignal>
#include <cstdio>
#include <functional>
#include <new>
#include <optional>
#include <string>

#include "arguments.h"
#include "check.h"
#include "commands.h"
#include "dbc.h"
#include "explain.h"
#include "listing.h"
#include "platform.h"
#include "process.h"
#include "report.h"
#include "runoptions.h"
#include "samefile.h"
#include "update.h"
#include "usage.h"

using namespace velmorin;

namespace {

constexpr NumberRange kHexByte = {16, 0x00, 0xFF};
constexpr NumberRange kByte = {10, 0, 255};
constexpr NumberRange kTimestamp = {10, 0, INT_MAX};
constexpr NumberRange kCount = {10, 1, INT_MAX};

/// What the words of the command line came to.
struct CommandLine {
    bool as_json = false;
    std::string image;
    Target target;
    std::vector<int> update_addresses;
    RunOptions run;
    DownloadChoice choice;
    ListOptions listed;
    std::string interface = RunOptions().interface;
    std::optional<int> charge;
    std::string file;
    int timestamp = 0;
    std::optional<int> job;
    bool all = false;
    ExplainRequest explain;
    std::function<int()> command;
};

CLI::App* AddCommand(CLI::App* app, CommandLine* line, const char* name, const char* help,
                     int (*command)(CommandLine&)) {
    CLI::App* added = app->add_subcommand(name, help);
    added->callback([=] { line->command = [=] { return command(*line); }; });
    return added;
}

void AddTarget(CLI::App* command, CommandLine* line) {
    command->add_option("IMAGE", line->image, "the firmware image")->required()->type_name("");
    AddNumber(command, "--charge", kHexByte, &line->target.charge, "address of the device on the bus")
        ->required();
    AddNumber(command, "--device", kHexByte, &line->target.device, "type of the device")->required();
    AddNumber(command, "--port", kByte, &line->target.port,
              "port number (default: 1 for charge address e0, 2 for e1, else 0)");
}

/// The log starts its file anew: not one that the job is read from.
int RefuseLog(const CommandLine& words) {
    const std::string& log = words.run.log;
    if (log.empty()) return kExitDone;
    for (const auto& [name, file] :
         {std::pair{"the image", words.image}, {"the staging file", StagingFile()}}) {
        if (IsSameFile(file, log))
            return Fail("--log", log + " is " + name + "; name another file", kExitUsage);
    }
    return kExitDone;
}

void AddUpdate(CLI::App* app, CommandLine* line) {
    CLI::App* update =
        AddCommand(app, line, "update", "download an image to a device now", [](CommandLine& words) {
            if (const int status = RefuseLog(words); status != 0) return status;
            return Update(words.image, words.target, words.update_addresses, words.run);
        });
    AddTarget(update, line);
    update
        ->add_option_function<std::string>(
            "--update",
            [=](const std::string& list) {
                line->update_addresses = ParseNumbers("--update", list, kHexByte);
            },
            "update address; several, with commas between, are updated one after the other")
        ->type_name("HEX[,HEX...]")
        ->required();
    AddRunOptions(update, &line->run);
}

void AddDownload(CLI::App* app, CommandLine* line) {
    CLI::App* download = AddCommand(app, line, "download", "download staged jobs", [](CommandLine& words) {
        if (const int status = RefuseLog(words); status != 0) return status;
        return Download(words.choice, words.run);
    });
    CLI::Option* job = AddNumber(download, "--job", kTimestamp, &line->choice.timestamp,
                                 "the job of this timestamp (default: the oldest whole one)");
    download->add_flag("--all", line->choice.all, "every whole job, oldest first")->excludes(job);
    AddRunOptions(download, &line->run);
}

void AddStage(CLI::App* app, CommandLine* line) {
    CLI::App* stage =
        AddCommand(app, line, "stage", "keep an image to be downloaded later",
                   [](CommandLine& words) { return Stage(words.image, words.target, words.as_json); });
    AddTarget(stage, line);
    AddNumber(stage, "--update", kHexByte, &line->target.update, "update address")->required();
    stage->add_flag("--json", line->as_json, "as one JSON object");
}

void AddStagingFile(CLI::App* app, CommandLine* line) {
    CLI::App* jobs =
        AddCommand(app, line, "jobs", "list the jobs with their results", [](CommandLine& words) {
            EndAtOnceOnSignals();
            return PrintJobs(words.listed);
        });
    jobs->add_flag("--json", line->listed.as_json, "as one JSON array");
    jobs->add_flag("--open", line->listed.only_open, "open jobs only");
    AddNumber(jobs, "--last", kCount, &line->listed.last, "the newest N only");

    CLI::App* file = AddCommand(app, line, "export", "write the image of a staged job to a new file",
                                [](CommandLine& words) { return Export(words.file, words.job); });
    file->add_option("FILE", line->file, "the file to make")->required()->type_name("");
    AddNumber(file, "--job", kTimestamp, &line->job,
              "the job of this timestamp (default: the oldest whole one)");

    CLI::App* close =
        AddCommand(app, line, "close", "close an open job that nobody will finish, as interrupted",
                   [](CommandLine& words) { return Close(words.timestamp); });
    AddNumber(close, "TIMESTAMP", kTimestamp, &line->timestamp, "the job's, as `jobs` shows it")
        ->required()
        ->type_name("");

    CLI::App* clean = AddCommand(app, line, "clean", "remove what no open job needs from the staging file",
                                 [](CommandLine& words) { return Clean(words.all); });
    clean->add_flag("--all", line->all, "everything that is staged, closing the open jobs");
}

void AddCheck(CLI::App* app, CommandLine* line) {
    CLI::App* check = AddCommand(app, line, "check", "tell whether an update could run now; changes nothing",
                                 [](CommandLine& words) {
                                     EndAtOnceOnSignals();
                                     return Check(words.interface, words.charge, words.as_json);
                                 });
    AddInterface(check, &line->interface);
    AddNumber(check, "--charge", kHexByte, &line->charge, "ask the device at this address, too");
    check->add_flag("--json", line->as_json, "as one JSON object");
}

int ExplainLog(const ExplainRequest& request) {
    constexpr int kStatus[] = {kExitDone, kExitUsage, kExitStaging, kExitFailure};  // by ExplainEnd
    const ExplainOutcome outcome = Explain(request);
    std::fwrite(outcome.output.data(), 1, outcome.output.size(), Out());
    const int printed = FinishOutput();
    if (outcome.why.empty()) return printed;
    return Fail(outcome.what, outcome.why, kStatus[static_cast<int>(outcome.end)]);
}

void AddExplain(CLI::App* app, CommandLine* line) {
    CLI::App* explain =
        AddCommand(app, line, "explain", "say what a candump log shows of updates, and why they failed",
                   [](CommandLine& words) {
                       EndAtOnceOnSignals();
                       return ExplainLog(words.explain);
                   });
    ExplainRequest* request = &line->explain;
    explain->add_option("LOG", request->log, "the log, gzip'ed or not; - for standard input")
        ->required()
        ->type_name("");
    AddNumber(explain, "--charge", kHexByte, &request->charge,
              "only the updates of the device at this address");
    explain->add_flag("--json", request->as_json, "as one JSON document");
    AddOutputFile(explain, "--html", &request->html, "write it as a page, too");
}

void AddDbc(CLI::App* app, CommandLine* line) {
    CLI::App* dbc = AddCommand(app, line, "dbc", "print the protocol's frames as a DBC database",
                               [](CommandLine& words) { return PrintDbc(words.target.charge); });
    AddNumber(dbc, "--charge", kHexByte, &line->target.charge, "address of the device on the bus")
        ->required();
}

int ShowHelp(const std::string& text) {
    std::fputs(text.c_str(), Out());
    return FinishOutput();
}

}  // namespace

int main(int argc, char** argv) try {
    HoldStandardDescriptors();
    IgnoreWriteSignals();
    Out();
    CLI::App app{"Updates the devices on a charging station's CAN bus and looks after the update jobs.",
                 "velmorinctl"};
    app.set_version_flag("--version", "velmorinctl " VELMORIN_VERSION);
    app.footer(
        "Exit status: 0 done, 1 other failures, 2 command line, 3 image or staging file, 4 bus, 5 silent "
        "device,\n"
        "6 download refused, 7 group refused, 8 image refused, 9 another update is running. See "
        "velmorinctl(1).");
    app.require_subcommand(1);
    CommandLine line;
    AddUpdate(&app, &line);
    AddStage(&app, &line);
    AddDownload(&app, &line);
    AddStagingFile(&app, &line);
    AddCheck(&app, &line);
    AddExplain(&app, &line);
    AddDbc(&app, &line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        return ShowHelp(app.help());
    } catch (const CLI::CallForVersion& version) {
        return ShowHelp(std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        return FailUsage(app, error);
    }
    platform::AnnounceBench("velmorinctl");
    PrepareProcess();
    return line.command();
} catch (const std::bad_alloc&) {
    std::fputs("velmorinctl: out of memory\n", stderr);
    return kExitFailure;
}
