// Whole jobs of velmorinctl: what it tells, what it records, its exit status.
#include "ctlbench.h"

namespace {

using Json = nlohmann::json;

class CtlJobs : public CtlBench {};

TEST_F(CtlJobs, EventsTellTheWholeJobAndTheLogHoldsItsFrames) {
    StartDevice();
    const std::string log = bench.Root() / "log";
    EXPECT_EQ(Run(update + " --pace max --json --log " + log), 0) << err;
    EXPECT_TRUE(IsDelivered());
    std::vector<Json> events = Events();
    ASSERT_GE(events.size(), 7U) << out;

    const Json start = events.front();
    const std::string timestamp = SqlRows(bench.StagingFile(), "SELECT timestamp FROM tag_history").front();
    EXPECT_EQ(start["job"].dump(), timestamp);
    EXPECT_NEAR(start["expected_s"].get<double>(), 4.7, 0.4);
    const Json end = events.back();
    const Json started = Json::parse(R"({"size": 1500, "groups": 2, "charge": "e0", "device": "10",
        "update": "20", "pace": "max"})");
    const Json ended = Json::parse(R"({"status": 0, "result": 0, "text": "success", "bytes": 1500,
        "groups": 2, "retries": 0, "ignored": 0, "device_status": 170})");
    for (const auto& [key, value] : started.items()) EXPECT_EQ(start[key], value) << key;
    for (const auto& [key, value] : ended.items()) EXPECT_EQ(end[key], value) << key;
    EXPECT_EQ(end["job"], start["job"]);
    EXPECT_GT(end["rate"], 0);
    EXPECT_NEAR(end["duration_s"].get<double>(), 4.0, 1.0);
    EXPECT_TRUE(end["queue_waits"].is_number());

    std::string course;
    double before = 0;
    for (const Json& event : events) {
        EXPECT_GE(event["t"].get<double>(), before);
        before = event["t"];
        course += event["event"].get<std::string>() + " ";
        if (event["event"] == "group") {
            course += event["address"].get<std::string>() + event["index"].dump() + event["attempt"].dump() +
                      event["verdict"].get<std::string>() + " ";
        }
        if (event["event"] == "progress") course += event["bytes"].dump() + "/" + event["of"].dump() + " ";
    }
    EXPECT_EQ(
        course,
        "start link group 0800400001right progress 1024/1500 group 0800440011right progress 1500/1500 end ");

    const std::string frames = BenchDir::Read(log);
    EXPECT_NE(frames.find(" can0 1070E08A#0110000000000000\n"), std::string::npos)
        << "heartbeat 0, on port 1";
    EXPECT_NE(frames.find(" can0 107F8AE0#"), std::string::npos) << "the reset reply";
}

struct Ending {
    const char* name;
    const char* device;   ///< options of the simulated one
    const char* options;  ///< of velmorinctl
    int status;
    const char* row;
    Json device_status;
    const char* says;
};
void PrintTo(const Ending& ending, std::ostream* stream) {
    *stream << ending.name;
}

class Endings : public CtlBench, public testing::WithParamInterface<Ending> {};

TEST_P(Endings, HasItsStatusItsRowAndItsWords) {
    const Ending& ending = GetParam();
    StartDevice(ending.device);
    EXPECT_EQ(Run(update + " --json --patience 2 " + ending.options), ending.status) << err;
    EXPECT_EQ(Results().back(), ending.row);
    EXPECT_EQ(Events().back()["status"], ending.status);
    EXPECT_EQ(Events().back()["device_status"], ending.device_status);
    EXPECT_TRUE(Says(ending.says)) << err;
}

INSTANTIATE_TEST_SUITE_P(
    Devices, Endings,
    testing::Values(Ending{"Silent", "--silent", "--pace max", 5, "1|14", nullptr,
                           "; look at the device's power and at its address, --charge e0"},
                    Ending{"NoResetReply", "--no-reset-reply", "--pace max", 5, "1|14", nullptr,
                           "the device holds the new image, whole"},
                    Ending{"Refused", "--refuse-start 3", "--pace max", 6, "1|10", 3, "(status byte 03)"},
                    Ending{"GroupRefused", "--reject-group 0:9", "--pace 1", 7, "1|12", 0x55,
                           "(status byte 55)"},
                    Ending{"ImageRefused", "--fail-check 7", "--pace max", 8, "1|5", 7, "(status byte 07)"}),
    [](const auto& ending) { return ending.param.name; });

TEST_F(CtlJobs, StopAtTheFirstFailureUnlessTheyAreToKeepGoing) {
    StartDevice("--refuse-start 3");
    EXPECT_EQ(Run(update + ",21"), 6) << err;
    EXPECT_EQ(Results(), Words{"1|10"});
    EXPECT_NE(out.find("\n21          -                    -         -  not tried\n"), std::string::npos)
        << out;
    EXPECT_EQ(Run(update + ",21 --keep-going --quiet"), 6) << err;
    EXPECT_EQ(SqlRows(bench.StagingFile(), "SELECT updateaddress,result FROM tag_history GROUP BY timestamp"),
              (Words{"20|10", "20|10", "21|10"}));
    EXPECT_EQ(out, "");
}

TEST_F(CtlJobs, DryRunNeedsNoBusAndWritesNothing) {
    EXPECT_EQ(Run(update + " --dry-run --json --pace 2"), 0) << err;
    EXPECT_EQ(Events()[0]["expected_s"].dump(), Json(4.0 + 2 * 1.3).dump());
    EXPECT_EQ(Events()[1]["event"], "end");
    const std::string log = bench.Root() / "log";
    EXPECT_EQ(Run(update + " --dry-run --log " + log), 0) << err;
    EXPECT_NE(out.find("size      1500 bytes\ngroups    2\npackets   512\n"), std::string::npos) << out;
    EXPECT_FALSE(std::filesystem::exists(log) || std::filesystem::exists(bench.StagingFile()));
}

TEST_F(CtlJobs, LostBusEndsTheJobAndStdoutThatIsFullDoesNot) {
    StartDevice();
    EXPECT_EQ(Run(update + " --pace max", {"/bin/sh", "-c", "exec " VELMORINCTL " \"$@\" >/dev/full", "sh"}),
              1);
    EXPECT_TRUE(IsDelivered());
    EXPECT_EQ(Results().back(), "1|0");
    const auto job = Start(update);
    ASSERT_TRUE(job->WaitForErrors("the device answers"));
    device->Signal(SIGKILL);
    EXPECT_EQ(job->Wait(), 4);
    EXPECT_NE(job->errors.find("bus lost: "), std::string::npos) << job->errors;
    EXPECT_EQ(Results().back(), "1|15");
    EXPECT_EQ(Run(update), 4);
    EXPECT_EQ(Results().size(), 2U) << "a job that never began has no row";
}

}  // namespace
