// velmorinctl: looks after the staging file for the person beside the controller.
#include <CLI/CLI.hpp>
#include <charconv>
#include <string>

#include "listing.h"
#include "platform.h"
#include "report.h"

int main(int argc, char** argv) {
    CLI::App app{"Looks after the update jobs of a charging station's controller.", "velmorinctl"};
    app.set_version_flag("--version", "velmorinctl " VELMORIN_VERSION);
    app.require_subcommand(1);

    bool as_json = false;
    CLI::App* jobs = app.add_subcommand("jobs", "list every job with its result");
    jobs->add_flag("--json", as_json, "as one JSON array");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kExitUsage;
    }
    platform::AnnounceBench("velmorinctl");
    if (*jobs) return PrintJobs(as_json);
    return kExitUsage;
}
